// SM3 on x86-64 with AVX2 and BMI2: eight messages side by side; one stream as in x86_bmi2.cpp.
//
//   expand_lanes(w[68][8]), compress_lanes(v[8][8], result[8][8], w[68][8], row, common, stride)    rows aligned
#include <immintrin.h>

#include "sm3/kernels/x86.hpp"

namespace ulmaro::sm3 {
namespace {

using V = __m256i;
constexpr std::size_t kLanes = 8;

[[gnu::always_inline]] inline V load(const std::uint32_t* p) {
    return _mm256_load_si256(reinterpret_cast<const V*>(p));
}
[[gnu::always_inline]] inline void store(std::uint32_t* p, V v) { _mm256_store_si256(reinterpret_cast<V*>(p), v); }
[[gnu::always_inline]] inline V broadcast(const std::uint32_t* p) { return _mm256_set1_epi32(static_cast<int>(*p)); }
[[gnu::always_inline]] inline V add(V a, V b) { return _mm256_add_epi32(a, b); }
[[gnu::always_inline]] inline V exor(V a, V b) { return _mm256_xor_si256(a, b); }
[[gnu::always_inline]] inline V exor3(V a, V b, V c) { return exor(exor(a, b), c); }

template <int n>
[[gnu::always_inline]] inline V rotate(V v) {
    return exor(_mm256_slli_epi32(v, n), _mm256_srli_epi32(v, 32 - n));
}

[[gnu::always_inline]] inline V majority(V a, V b, V c) {
    return exor(_mm256_and_si256(exor(b, c), a), _mm256_and_si256(b, c));
}
[[gnu::always_inline]] inline V choice(V e, V f, V g) { return exor(_mm256_and_si256(exor(f, g), e), g); }

#include "sm3/kernels/lanes.inl"

}  // namespace

constinit const Kernels avx2_kernels{"avx2", compress_bmi2, kLanes, expand_lanes, compress_lanes};

}  // namespace ulmaro::sm3
