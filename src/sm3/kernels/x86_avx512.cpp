// SM3 on x86-64 with AVX-512 and BMI2: sixteen messages side by side; one stream as in x86_bmi2.cpp, because a rotation
// in a vector register takes longer than the rorx it would replace.
//
//   expand_lanes(w[68][16]), compress_lanes(v[8][16], result[8][16], w[68][16], row, common, stride)    rows aligned
#include <immintrin.h>

#include "sm3/kernels/x86.hpp"

namespace ulmaro::sm3 {
namespace {

using V = __m512i;
constexpr std::size_t kLanes = 16;

// Truth tables of three inputs for vpternlogd.
constexpr int kExor = 0x96, kMajority = 0xe8, kChoice = 0xca;

[[gnu::always_inline]] inline V load(const std::uint32_t* p) { return _mm512_load_si512(p); }
[[gnu::always_inline]] inline void store(std::uint32_t* p, V v) { _mm512_store_si512(p, v); }
[[gnu::always_inline]] inline V broadcast(const std::uint32_t* p) { return _mm512_set1_epi32(static_cast<int>(*p)); }
[[gnu::always_inline]] inline V add(V a, V b) { return _mm512_add_epi32(a, b); }
[[gnu::always_inline]] inline V exor(V a, V b) { return _mm512_xor_si512(a, b); }
[[gnu::always_inline]] inline V exor3(V a, V b, V c) { return _mm512_ternarylogic_epi32(a, b, c, kExor); }

template <int n>
[[gnu::always_inline]] inline V rotate(V v) {
    return _mm512_maskz_rol_epi32(0xffff, v, n);  // the plain form makes g++ 12 warn of its own header
}

[[gnu::always_inline]] inline V majority(V a, V b, V c) { return _mm512_ternarylogic_epi32(a, b, c, kMajority); }
[[gnu::always_inline]] inline V choice(V e, V f, V g) { return _mm512_ternarylogic_epi32(e, f, g, kChoice); }

#include "sm3/kernels/lanes.inl"

}  // namespace

constinit const Kernels avx512_kernels{"avx512", compress_bmi2, kLanes, expand_lanes, compress_lanes};

}  // namespace ulmaro::sm3
