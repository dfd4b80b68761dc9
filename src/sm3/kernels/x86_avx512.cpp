// SM3 on x86-64 with AVX-512 and BMI2: sixteen messages side by side; one stream as in x86_stream.hpp, because a
// rotation in a vector register takes longer than the rorx it would replace.
//
//   expand_lanes(w[68][16]), compress_lanes(v[8][16], result[8][16], w[68][16], row, common, stride)    rows aligned
#include <immintrin.h>

#include "sm3/kernels/lanes.hpp"
#include "sm3/kernels/x86_stream.hpp"

namespace ulmaro::sm3 {
namespace {

struct Avx512 {
    using Vector = __m512i;
    static constexpr std::size_t lanes = 16;

    // Truth tables of three inputs for vpternlogd.
    static constexpr int exor_table = 0x96, majority_table = 0xe8, choice_table = 0xca;

    static Vector load(const std::uint32_t* p) { return _mm512_load_si512(p); }
    static void store(std::uint32_t* p, Vector v) { _mm512_store_si512(p, v); }
    static Vector broadcast(const std::uint32_t* p) { return _mm512_set1_epi32(static_cast<int>(*p)); }
    static Vector add(Vector a, Vector b) { return _mm512_add_epi32(a, b); }
    static Vector exor(Vector a, Vector b) { return _mm512_xor_si512(a, b); }
    static Vector exor(Vector a, Vector b, Vector c) { return _mm512_ternarylogic_epi32(a, b, c, exor_table); }
    template <int n>
    static Vector rotate(Vector v) {
        return _mm512_maskz_rol_epi32(0xffff, v, n);  // the plain form makes g++ 12 warn about its own header
    }
    static Vector majority(Vector a, Vector b, Vector c) { return _mm512_ternarylogic_epi32(a, b, c, majority_table); }
    static Vector choice(Vector e, Vector f, Vector g) { return _mm512_ternarylogic_epi32(e, f, g, choice_table); }
};

}  // namespace

constinit const Kernels x86_avx512_kernels =
    LaneFunctions<Avx512>::named("x86-avx512", compress_stream<Rounds::narrow>);
constinit const Kernels x86_avx512_wide_kernels =
    LaneFunctions<Avx512>::named("x86-avx512-wide", compress_stream<Rounds::wide>);

}  // namespace ulmaro::sm3
