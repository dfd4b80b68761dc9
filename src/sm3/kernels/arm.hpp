// The kernels of aarch64.
#pragma once

#include "sm3/kernels.hpp"

namespace ulmaro::sm3 {

/// Four messages side by side, as Kernels::expand_lanes and compress_lanes. Needs no more than NEON.
inline constexpr std::size_t kNeonLanes = 4;
void expand_lanes_neon(std::uint32_t* w) noexcept;
void compress_lanes_neon(const std::uint32_t* v, std::uint32_t* result, const std::uint32_t* w,
                         const std::uint32_t* difference, std::size_t stride) noexcept;

extern const Kernels neon_kernels;     // every aarch64
extern const Kernels arm_sm3_kernels;  // FEAT_SM3

}  // namespace ulmaro::sm3
