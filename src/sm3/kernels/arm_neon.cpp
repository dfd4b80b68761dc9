// SM3 on aarch64: four messages side by side in NEON registers; one stream as in arm_neon_stream.cpp.
//
//   expand_lanes(w[68][4]), compress_lanes(v[8][4], result[8][4], w[68][4], row, common, stride)    rows aligned
#include <arm_neon.h>

#include "sm3/kernels/lanes.hpp"
#include "sm3/kernels/stream.hpp"

namespace ulmaro::sm3 {
namespace {

struct Neon {
    using Vector = uint32x4_t;
    static constexpr std::size_t lanes = 4;

    static Vector load(const std::uint32_t* p) { return vld1q_u32(p); }
    static void store(std::uint32_t* p, Vector v) { vst1q_u32(p, v); }
    static Vector broadcast(const std::uint32_t* p) { return vld1q_dup_u32(p); }
    static Vector add(Vector a, Vector b) { return vaddq_u32(a, b); }
    static Vector exor(Vector a, Vector b) { return veorq_u32(a, b); }
    static Vector exor(Vector a, Vector b, Vector c) { return exor(exor(a, b), c); }
    template <int n>
    static Vector rotate(Vector v) {
        return vsriq_n_u32(vshlq_n_u32(v, n), v, 32 - n);
    }
    // Where b and c agree they are the majority, elsewhere a decides.
    static Vector majority(Vector a, Vector b, Vector c) { return vbslq_u32(exor(b, c), a, b); }
    static Vector choice(Vector e, Vector f, Vector g) { return vbslq_u32(e, f, g); }
};

}  // namespace

constinit const Kernels arm_neon_kernels = LaneFunctions<Neon>::named("arm-neon", compress_neon);

}  // namespace ulmaro::sm3
