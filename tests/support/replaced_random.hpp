// The C library's rand, srand and time, as an application may replace them. Link replaced_random.cpp.
#pragma once

#include <ctime>
#include <deque>
#include <string_view>
#include <vector>

#include "support/bytes.hpp"

namespace ulmaro::test {

struct ReplacedRandom {
    std::deque<int> script;        ///< what rand returns next
    int (*otherwise)() = nullptr;  ///< what it returns after the script; null: a fixed sequence that srand restarts
    int calls = 0;                 ///< of rand
    Bytes* drawn = nullptr;        ///< where the low bytes of all returned values go, if anywhere
    std::vector<unsigned int> seeds;
    std::time_t now = 1000;

    /// The next scalar drawn is this big-endian number, before the range rule: the low bytes count.
    void next_scalar(std::span<const unsigned char> be32) {
        for (std::size_t i = be32.size(); i-- > 0;) script.push_back(static_cast<int>(be32[i] | 0x9e3779b9U * i << 8));
    }
    void next_scalar(std::string_view hex) { next_scalar(from_hex(hex)); }
};

/// The one object that rand, srand and time work on.
ReplacedRandom& replaced_random();

/// As at the start of the program.
inline ReplacedRandom& reset_random() { return replaced_random() = {}; }

}  // namespace ulmaro::test
