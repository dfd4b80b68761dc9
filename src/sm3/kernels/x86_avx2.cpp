// SM3 on x86-64 with AVX2 and BMI2: eight messages side by side; one stream as in x86_stream.hpp.
//
//   expand_lanes(w[68][8]), compress_lanes(v[8][8], result[8][8], w[68][8], row, common, stride)    rows aligned
#include <immintrin.h>

#include "sm3/kernels/lanes.hpp"
#include "sm3/kernels/x86_stream.hpp"

namespace ulmaro::sm3 {
namespace {

struct Avx2 {
    using Vector = __m256i;
    static constexpr std::size_t lanes = 8;

    static Vector load(const std::uint32_t* p) { return _mm256_load_si256(reinterpret_cast<const Vector*>(p)); }
    static void store(std::uint32_t* p, Vector v) { _mm256_store_si256(reinterpret_cast<Vector*>(p), v); }
    static Vector broadcast(const std::uint32_t* p) { return _mm256_set1_epi32(static_cast<int>(*p)); }
    static Vector add(Vector a, Vector b) { return _mm256_add_epi32(a, b); }
    static Vector exor(Vector a, Vector b) { return _mm256_xor_si256(a, b); }
    static Vector exor(Vector a, Vector b, Vector c) { return exor(exor(a, b), c); }
    template <int n>
    static Vector rotate(Vector v) {
        return exor(_mm256_slli_epi32(v, n), _mm256_srli_epi32(v, 32 - n));
    }
    static Vector majority(Vector a, Vector b, Vector c) {
        return exor(_mm256_and_si256(exor(b, c), a), _mm256_and_si256(b, c));
    }
    static Vector choice(Vector e, Vector f, Vector g) { return exor(_mm256_and_si256(exor(f, g), e), g); }
};

}  // namespace

constinit const Kernels x86_avx2_kernels = LaneFunctions<Avx2>::named("x86-avx2", compress_stream<Rounds::narrow>);

}  // namespace ulmaro::sm3
