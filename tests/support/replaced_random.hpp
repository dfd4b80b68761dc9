// The C library's rand, srand and time, as an application may replace them. Include it in one file of a program.
#pragma once

#include <cstdlib>
#include <ctime>
#include <deque>
#include <vector>

#include "support/bytes.hpp"

namespace ulmaro::test {

struct ReplacedRandom {
    std::deque<int> script;      ///< what rand returns next; after that a fixed sequence, which srand restarts
    std::uint64_t sequence = 1;  ///< its state
    Bytes* drawn = nullptr;      ///< where the low bytes of all returned values go, if anywhere
    std::vector<unsigned int> seeds;
    std::time_t now = 1000;

    /// The next scalar drawn is this big-endian number, before the range rule: the low bytes count.
    void next_scalar(std::span<const unsigned char> be32) {
        for (std::size_t i = be32.size(); i-- > 0;) script.push_back(static_cast<int>(be32[i] | 0x9e3779b9U * i << 8));
    }
};
inline ReplacedRandom replaced_random;

/// As at the start of the program.
inline ReplacedRandom& reset_random() { return replaced_random = {}; }

}  // namespace ulmaro::test

extern "C" int rand() noexcept {
    auto& state = ulmaro::test::replaced_random;
    state.sequence = state.sequence * 6364136223846793005U + 1442695040888963407U;
    int value = static_cast<int>(state.sequence >> 33);
    if (!state.script.empty()) {
        value = state.script.front();
        state.script.pop_front();
    }
    if (state.drawn != nullptr) state.drawn->push_back(static_cast<unsigned char>(value));
    return value;
}

extern "C" void srand(unsigned int seed) noexcept {
    ulmaro::test::replaced_random.seeds.push_back(seed);
    ulmaro::test::replaced_random.sequence = seed;
}

extern "C" std::time_t time(std::time_t* out) noexcept {
    const std::time_t now = ulmaro::test::replaced_random.now;
    return out != nullptr ? *out = now : now;
}
