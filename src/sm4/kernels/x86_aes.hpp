// Rounds of SM4 with the AES instructions of x86: one block per vector, and with AVX2 two.
#pragma once

#include "sm4/kernels/basis.hpp"
#include "sm4/kernels/x86_lanes.hpp"

namespace ulmaro::sm4 {
namespace {

inline constexpr basis::NibbleTables table_enter = basis::nibble_tables(basis::enter);
inline constexpr basis::NibbleTables table_enter_key = basis::nibble_tables(basis::enter_key);
inline constexpr basis::NibbleTables table_leave = basis::nibble_tables(basis::leave);
inline constexpr basis::NibbleTables table_sbox = basis::nibble_tables(basis::sbox_after_aes);

// The key of the AES instruction absorbs the constants of the maps that follow it.
inline constexpr basis::Table aes_key = basis::all(basis::after_aes.root);
inline constexpr basis::NibbleTables table_f = basis::nibble_tables(basis::linear_part(basis::after_aes.f));
inline constexpr basis::NibbleTables table_g = basis::nibble_tables(basis::linear_part(basis::after_aes.g));
inline constexpr basis::NibbleTables table_sum = basis::nibble_tables(basis::linear_part(basis::after_aes.sum));

/// The same key for a word in the first bytes of the columns: the other bytes become AES(0) + 63 = 0.
inline constexpr basis::Table aes_key_for_word = [] {
    basis::Table t = basis::all(0x63);
    for (unsigned i = 0; i < 16; i += 4) t.byte[i] = basis::after_aes.root;
    return t;
}();

inline constexpr basis::Table rotation1 = basis::rotate_words(1);
inline constexpr basis::Table rotation2 = basis::rotate_words(2);
inline constexpr basis::Table unshift = basis::unshift_rows_rotate_words(0);
inline constexpr basis::Table unshift_rotation1 = basis::unshift_rows_rotate_words(1);

struct Aes128 : Lanes128 {
    static Vector look_up(const basis::NibbleTables& m, Vector low, Vector high) {
        return add(_mm_shuffle_epi8(repeat(m.low), low), _mm_shuffle_epi8(repeat(m.high), high));
    }
    static Vector map(Vector v, const basis::NibbleTables& m) {
        const Vector mask = _mm_set1_epi8(15);
        return look_up(m, _mm_and_si128(v, mask), _mm_and_si128(_mm_srli_epi32(v, 4), mask));
    }

    static Vector enter(Vector v) { return map(v, table_enter); }
    static Vector enter_key(Vector v, std::size_t) { return map(v, table_enter_key); }
    static Vector leave(Vector v) { return map(v, table_leave); }
    static Vector rotate1(Vector v) { return shuffle(v, rotation1); }
    static Vector rotate2(Vector v) { return shuffle(v, rotation2); }

    /// f of S(a + b + key), and g of it rotated by one byte.
    static void substitute(Vector a, Vector b, Vector key, Vector& f, Vector& g) {
        const Vector y = _mm_aesenclast_si128(add(a, b, key), repeat(aes_key));
        f = shuffle(map(y, table_f), unshift);
        g = shuffle(map(y, table_g), unshift_rotation1);
    }

    /// S of a word in all columns.
    static Vector substitute_word(Vector v) {
        return map(_mm_aesenclast_si128(map(v, table_enter_key), zero()), table_sbox);
    }

    /// f, g and f + g of S(a + b) for a word. The row shift leaves the first bytes of the columns in place, and with
    /// zeros beside them a shift alone makes the high index.
    static void substitute_in_word(Vector a, Vector b, Vector& f, Vector& g, Vector& sum) {
        const Vector y = _mm_aesenclast_si128(add(a, b), repeat(aes_key_for_word));
        const Vector low = _mm_and_si128(y, _mm_set1_epi8(15));
        const Vector high = _mm_srli_epi32(y, 4);
        sum = look_up(table_sum, low, high);
        g = look_up(table_g, low, high);
        f = add(sum, g);
    }
};

#ifdef __AVX2__
struct Aes256 : Lanes256 {
    static Vector map(Vector v, const basis::NibbleTables& m) {
        const Vector mask = _mm256_set1_epi8(15);
        const Vector low = _mm256_and_si256(v, mask);
        const Vector high = _mm256_and_si256(_mm256_srli_epi32(v, 4), mask);
        return add(_mm256_shuffle_epi8(repeat(m.low), low), _mm256_shuffle_epi8(repeat(m.high), high));
    }

    static Vector enter(Vector v) { return map(v, table_enter); }
    static Vector leave(Vector v) { return map(v, table_leave); }
    static Vector rotate1(Vector v) { return shuffle(v, rotation1); }
    static Vector rotate2(Vector v) { return shuffle(v, rotation2); }

    static Vector aes(Vector t) {
#ifdef __VAES__
        return _mm256_aesenclast_epi128(t, repeat(aes_key));
#else
        const __m128i key = Lanes128::repeat(aes_key);
        const __m128i low = _mm_aesenclast_si128(_mm256_castsi256_si128(t), key);
        const __m128i high = _mm_aesenclast_si128(_mm256_extracti128_si256(t, 1), key);
        return _mm256_inserti128_si256(_mm256_castsi128_si256(low), high, 1);
#endif
    }

    static void substitute(Vector a, Vector b, Vector key, Vector& f, Vector& g) {
        const Vector y = aes(add(a, b, key));
        f = shuffle(map(y, table_f), unshift);
        g = shuffle(map(y, table_g), unshift_rotation1);
    }
};
#endif

}  // namespace
}  // namespace ulmaro::sm4
