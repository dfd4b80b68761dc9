// The constants of SM3 (GM/T 0004 clauses 4.1 and 4.2).
#pragma once

#include <cstdint>

#include "base/bytes.hpp"

namespace ulmaro::sm3 {

/// Chaining value before the first block.
inline constexpr std::uint32_t initial_value[8] = {0x7380166f, 0x4914b2b9, 0x172442d7, 0xda8a0600,
                                                   0xa96f30bc, 0x163138aa, 0xe38dee4d, 0xb0fb0e4e};

/// T_j.
constexpr std::uint32_t round_constant(unsigned j) noexcept { return j < 16 ? 0x79cc4519U : 0x7a879d8aU; }

/// T_j <<< j, as the rounds add them.
struct RoundConstants {
    std::uint32_t t[64];
};
inline constexpr RoundConstants rotated_constants = [] {
    RoundConstants constants{};
    for (unsigned j = 0; j < 64; ++j) constants.t[j] = rotl32(round_constant(j), j % 32);
    return constants;
}();

}  // namespace ulmaro::sm3
