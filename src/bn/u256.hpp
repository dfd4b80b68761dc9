// Numbers of eight words as the limbs of src/u256.
#pragma once

#include <bit>
#include <cstring>

#include "bn/words.hpp"
#include "u256/limbs.hpp"

namespace ulmaro::bn {

static_assert(std::endian::native == std::endian::little, "words and limbs share one order in memory");

constexpr int u256_words = 8;

inline std::uint64_t limb(const Word* words) noexcept {
    std::uint64_t x;
    std::memcpy(&x, words, sizeof x);
    return x;
}

inline void store_limb(Word* words, std::uint64_t x) noexcept { std::memcpy(words, &x, sizeof x); }

/// The number in the first eight words. Limb by limb: compilers copy arrays through vector registers and memory.
inline u256::U256 limbs(const Word* words) noexcept {
    return {{limb(words), limb(words + 2), limb(words + 4), limb(words + 6)}};
}

/// words[8] = a.
inline void store(Word* words, const u256::U256& a) noexcept {
    store_limb(words, a.w[0]);
    store_limb(words + 2, a.w[1]);
    store_limb(words + 4, a.w[2]);
    store_limb(words + 6, a.w[3]);
}

}  // namespace ulmaro::bn
