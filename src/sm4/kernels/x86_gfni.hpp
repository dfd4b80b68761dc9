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

    /// f, g and f + g of S(a + b) for a word.
    static void substitute_in_word(Vector a, Vector b, Vector& f, Vector& g, Vector& sum) {
        const Vector t = add(a, b);
        f = _mm_gf2p8affineinv_epi64_epi8(t, _mm_set1_epi64x(matrix_f), constant_f);
        g = _mm_gf2p8affineinv_epi64_epi8(t, _mm_set1_epi64x(matrix_g), constant_g);
        sum = _mm_gf2p8affineinv_epi64_epi8(t, _mm_set1_epi64x(matrix_sum), constant_sum);
    }
};

}  // namespace
}  // namespace ulmaro::sm4
