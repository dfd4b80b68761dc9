// Word-array numbers in tests. Words that a routine must not read or write hold stale_word.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

namespace ulmaro::test {

using Words = std::vector<unsigned int>;

inline constexpr unsigned int stale_word = 0xDEADBEEF;
inline constexpr unsigned int ones = 0xFFFFFFFF;

/// The given words with stale words above them, `size` in all.
inline Words buffer(Words words = {}, std::size_t size = 10) {
    words.resize(std::max(size, words.size()), stale_word);
    return words;
}

/// The least room for a number of this many words: a number buffer, a product buffer, or just its words.
inline std::size_t room(int words) { return words <= 10 ? 10U : words <= 18 ? 18U : static_cast<std::size_t>(words); }

inline int count(const Words& words) { return static_cast<int>(words.size()); }

}  // namespace ulmaro::test
