// One SM4 round in plain words (GM/T 0002 clauses 6 and 7). The S-box is a table look-up, so its time depends on the
// data through the cache; key expansion and the vector kernels have no such look-up.
#pragma once

#include <cstdint>

#include "base/bytes.hpp"
#include "sm4/constants.hpp"

namespace ulmaro::sm4 {

/// tau: the S-box on each of four bytes.
inline std::uint32_t substitute(std::uint32_t x) noexcept {
    return std::uint32_t{SBOX[x >> 24]} << 24 | std::uint32_t{SBOX[x >> 16 & 0xff]} << 16 |
           std::uint32_t{SBOX[x >> 8 & 0xff]} << 8 | std::uint32_t{SBOX[x & 0xff]};
}

/// L(x) = x ^ (x <<< 2) ^ (x <<< 10) ^ (x <<< 18) ^ (x <<< 24), in four rotations.
constexpr std::uint32_t diffuse(std::uint32_t x) noexcept {
    const std::uint32_t y = x ^ rotl32(x, 8) ^ rotl32(x, 16);
    return x ^ rotl32(x, 24) ^ rotl32(y, 2);
}

/// L' of the key schedule.
constexpr std::uint32_t diffuse_key(std::uint32_t x) noexcept { return x ^ rotl32(x, 13) ^ rotl32(x, 23); }

/// x0 ^ T(x1 ^ x2 ^ x3 ^ rk).
inline std::uint32_t round(std::uint32_t x0, std::uint32_t x1, std::uint32_t x2, std::uint32_t x3,
                           std::uint32_t rk) noexcept {
    return x0 ^ diffuse(substitute(x1 ^ x2 ^ x3 ^ rk));
}

enum class Direction { encrypt, decrypt };

/// Round key of step i: decryption reads the schedule backwards.
template <Direction direction>
constexpr std::uint32_t round_key(const std::uint32_t* rk, unsigned i) noexcept {
    return rk[direction == Direction::encrypt ? i : 31 - i];
}

}  // namespace ulmaro::sm4
