// SM3 on aarch64: four messages side by side in NEON registers; one stream in plain C++.
//
//   expand_lanes(w[68][4]), compress_lanes(v[8][4], result[8][4], w[68][4], row, common, stride)    rows aligned
#include <arm_neon.h>

#include "sm3/kernels/arm.hpp"
#include "sm3/kernels/portable.hpp"

namespace ulmaro::sm3 {
namespace {

using V = uint32x4_t;
constexpr std::size_t kLanes = 4;

[[gnu::always_inline]] inline V load(const std::uint32_t* p) { return vld1q_u32(p); }
[[gnu::always_inline]] inline void store(std::uint32_t* p, V v) { vst1q_u32(p, v); }
[[gnu::always_inline]] inline V broadcast(const std::uint32_t* p) { return vld1q_dup_u32(p); }
[[gnu::always_inline]] inline V add(V a, V b) { return vaddq_u32(a, b); }
[[gnu::always_inline]] inline V exor(V a, V b) { return veorq_u32(a, b); }
[[gnu::always_inline]] inline V exor3(V a, V b, V c) { return exor(exor(a, b), c); }

template <int n>
[[gnu::always_inline]] inline V rotate(V v) {
    return vsriq_n_u32(vshlq_n_u32(v, n), v, 32 - n);
}

// Where b and c agree they are the majority, elsewhere a decides.
[[gnu::always_inline]] inline V majority(V a, V b, V c) { return vbslq_u32(exor(b, c), a, b); }
[[gnu::always_inline]] inline V choice(V e, V f, V g) { return vbslq_u32(e, f, g); }

#include "sm3/kernels/lanes.inl"

}  // namespace

constinit const Kernels neon_kernels{"neon", compress_portable, kLanes, expand_lanes, compress_lanes};

}  // namespace ulmaro::sm3
