// Word-array numbers in tests. Words that a routine must not touch, or must not look at, hold kStale.
#pragma once

#include <algorithm>
#include <cstddef>
#include <vector>

#include "support/random.hpp"

namespace ulmaro::test {

using Words = std::vector<unsigned int>;

inline constexpr unsigned int kStale = 0xDEADBEEF;
inline constexpr unsigned int kMax = 0xFFFFFFFF;

/// The words given and stale words above them, `size` in all.
inline Words buffer(Words words = {}, std::size_t size = 10) {
    words.resize(std::max(size, words.size()), kStale);
    return words;
}

/// The least room for a number of so many words: a number buffer, a product buffer, or no more than its words.
inline std::size_t room(int words) { return words <= 10 ? 10U : words <= 18 ? 18U : static_cast<std::size_t>(words); }

/// The words given and zeros above them.
inline Words extended(Words words, int size) {
    words.resize(static_cast<std::size_t>(size), 0);
    return words;
}

inline int count(const Words& words) { return static_cast<int>(words.size()); }

/// Random words with many that are 0 or 0xFFFFFFFF, where carries, borrows and quotient estimates go wrong.
inline Words random_words(Random& random, int size) {
    Words words;
    for (int i = 0; i < size; ++i) {
        const std::size_t kind = random.up_to(5);
        words.push_back(kind == 0 ? 0 : kind == 1 ? kMax : kind == 2 ? kMax - 1 : random.word());
    }
    return words;
}

/// The same with a top word that is not zero.
inline Words random_number(Random& random, int size) {
    Words words = random_words(random, size);
    if (size > 0 && words.back() == 0) words.back() = 1 + random.word() % 3;
    return words;
}

}  // namespace ulmaro::test
