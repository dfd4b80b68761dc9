// The maps around the GFNI inversion, which is one instruction together with the map that follows it.
#pragma once

#include "sm4/kernels/basis.hpp"
#include "sm4/kernels/x86_lanes.hpp"

namespace ulmaro::sm4 {
namespace {

inline constexpr auto matrix_enter = static_cast<long long>(basis::gfni_matrix(basis::enter));
inline constexpr auto matrix_leave = static_cast<long long>(basis::gfni_matrix(basis::leave));
inline constexpr auto matrix_f = static_cast<long long>(basis::gfni_matrix(basis::after_inverse.f));
inline constexpr auto matrix_g = static_cast<long long>(basis::gfni_matrix(basis::after_inverse.g));
inline constexpr auto matrix_sbox = static_cast<long long>(basis::gfni_matrix(basis::sbox_after_inverse));
inline constexpr auto matrix_sum = static_cast<long long>(basis::gfni_matrix(basis::after_inverse.sum));
inline constexpr int constant_f = basis::after_inverse.f.constant;
inline constexpr int constant_g = basis::after_inverse.g.constant;
inline constexpr int constant_sum = basis::after_inverse.sum.constant;
inline constexpr int constant_sbox = basis::sbox_after_inverse.constant;
inline constexpr int constant_key = basis::enter_key.constant;

struct Gfni128 : Lanes128 {
    static Vector enter(Vector v) { return _mm_gf2p8affine_epi64_epi8(v, _mm_set1_epi64x(matrix_enter), 0); }
    static Vector enter_key(Vector v, std::size_t = 0) {
        return _mm_gf2p8affine_epi64_epi8(v, _mm_set1_epi64x(matrix_enter), constant_key);
    }
    static Vector leave(Vector v) { return _mm_gf2p8affine_epi64_epi8(v, _mm_set1_epi64x(matrix_leave), 0); }

    static Vector substitute_word(Vector v) {
        return _mm_gf2p8affineinv_epi64_epi8(enter_key(v), _mm_set1_epi64x(matrix_sbox), constant_sbox);
    }

#ifdef __AVX512VL__
    /// L(S(t)) + a + b for words. One instruction adds three words, so f = sum + g costs nothing. The rotations that
    /// are waited for longest come first, and what comes from an inversion directly is added early: a Golden Cove core
    /// takes two cycles longer for a sum with such an operand, even when the others are ready last.
    static Vector changed(Vector t, Vector a, Vector b) {
        const Vector sum = _mm_gf2p8affineinv_epi64_epi8(t, _mm_set1_epi64x(matrix_sum), constant_sum);
        const Vector g = _mm_gf2p8affineinv_epi64_epi8(t, _mm_set1_epi64x(matrix_g), constant_g);
        const Vector sum1 = rotate_word<1>(sum);
        const Vector sum2 = rotate_word<2>(sum);
        const Vector f = add(sum, g, b);
        const Vector g3 = rotate_word<3>(g);
        return add(add(sum1, sum2, a), f, g3);
    }
#else
    /// f, g and f + g of S(a + b) for a word.
    static void substitute_in_word(Vector a, Vector b, Vector& f, Vector& g, Vector& sum) {
        const Vector t = add(a, b);
        f = _mm_gf2p8affineinv_epi64_epi8(t, _mm_set1_epi64x(matrix_f), constant_f);
        g = _mm_gf2p8affineinv_epi64_epi8(t, _mm_set1_epi64x(matrix_g), constant_g);
        sum = _mm_gf2p8affineinv_epi64_epi8(t, _mm_set1_epi64x(matrix_sum), constant_sum);
    }
#endif
};

}  // namespace
}  // namespace ulmaro::sm4
