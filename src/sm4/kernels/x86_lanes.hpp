// Blocks in x86 vector registers: one, two or four in each, and the steps that all kernels of this architecture share.
// A width exists when the including file is compiled for it.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "sm4/kernels/basis.hpp"

namespace ulmaro::sm4 {
namespace {

struct Lanes128 {
    using Vector = __m128i;
    static constexpr std::size_t lanes = 1, registers = 16;

    static Vector load_aligned(const void* p) { return _mm_load_si128(static_cast<const __m128i*>(p)); }
    static Vector repeat(const basis::Table& table) { return load_aligned(table.byte); }
    static Vector load(const std::uint8_t* p) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(p)); }
    static void store(std::uint8_t* p, Vector v) { _mm_storeu_si128(reinterpret_cast<__m128i*>(p), v); }

    static Vector load_blocks(const std::uint8_t* p, std::size_t) { return load(p); }
    static void store_blocks(std::uint8_t* p, Vector v, std::size_t) { store(p, v); }
    /// first, then the blocks before the last of those at p.
    static Vector load_behind(__m128i first, const std::uint8_t*, std::size_t) { return first; }

    static Vector zero() { return _mm_setzero_si128(); }
    static Vector broadcast(const std::uint32_t* word) {
        return _mm_shuffle_epi32(_mm_cvtsi32_si128(static_cast<int>(*word)), 0);
    }
    static void store_word(std::uint32_t* word, Vector v) { *word = static_cast<std::uint32_t>(_mm_cvtsi128_si32(v)); }
    static Vector add(Vector a, Vector b) { return _mm_xor_si128(a, b); }
#ifdef __AVX512VL__
    static Vector add(Vector a, Vector b, Vector c) { return _mm_ternarylogic_epi64(a, b, c, 0x96); }
    template <int bits>
    static Vector rotate_left(Vector v) {
        return _mm_maskz_rol_epi32(0xf, v, bits);  // the plain form makes g++ 12 warn about its own header
    }
#else
    static Vector add(Vector a, Vector b, Vector c) { return add(a, add(b, c)); }
    template <int bits>
    static Vector rotate_left(Vector v) {
        return _mm_or_si128(_mm_slli_epi32(v, bits), _mm_srli_epi32(v, 32 - bits));
    }
#endif
    static Vector shuffle(Vector v, const basis::Table& from) { return _mm_shuffle_epi8(v, repeat(from)); }
    // One word per vector: byte i of the word is the first of column i, so that a rotation by bytes is one of columns.
    template <int word>
    static Vector take_word(Vector v) {
        return shuffle(v, basis::spread_words[word]);
    }
    static Vector join_words(Vector a, Vector b, Vector c, Vector d) {
        return add(add(shuffle(a, basis::collect_words[0]), shuffle(b, basis::collect_words[1])),
                   add(shuffle(c, basis::collect_words[2]), shuffle(d, basis::collect_words[3])));
    }
    template <int bytes>
    static Vector rotate_word(Vector v) {
        return _mm_shuffle_epi32(v, 0xe4e4 >> 2 * bytes & 0xff);
    }

    static void transpose(Vector& a, Vector& b, Vector& c, Vector& d) {
        const Vector ab_low = _mm_unpacklo_epi32(a, b), ab_high = _mm_unpackhi_epi32(a, b);
        const Vector cd_low = _mm_unpacklo_epi32(c, d), cd_high = _mm_unpackhi_epi32(c, d);
        a = _mm_unpacklo_epi64(ab_low, cd_low);
        b = _mm_unpackhi_epi64(ab_low, cd_low);
        c = _mm_unpacklo_epi64(ab_high, cd_high);
        d = _mm_unpackhi_epi64(ab_high, cd_high);
    }
};

#ifdef __AVX2__
struct Lanes256 {
    using Vector = __m256i;
    static constexpr std::size_t lanes = 2, registers = 16;

    static Vector repeat(const basis::Table& table) {
        return _mm256_broadcastsi128_si256(Lanes128::load_aligned(table.byte));
    }
    static Vector load(const std::uint8_t* p) { return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(p)); }
    static void store(std::uint8_t* p, Vector v) { _mm256_storeu_si256(reinterpret_cast<__m256i*>(p), v); }

    static Vector load_blocks(const std::uint8_t* p, std::size_t blocks) {
        return blocks > 1 ? load(p) : _mm256_zextsi128_si256(Lanes128::load(p));
    }
    static void store_blocks(std::uint8_t* p, Vector v, std::size_t blocks) {
        if (blocks > 1)
            store(p, v);
        else
            Lanes128::store(p, _mm256_castsi256_si128(v));
    }
    static Vector load_behind(__m128i first, const std::uint8_t* p, std::size_t) {
        return _mm256_inserti128_si256(_mm256_castsi128_si256(first), Lanes128::load(p), 1);
    }

    static Vector zero() { return _mm256_setzero_si256(); }
    static Vector broadcast(const std::uint32_t* word) { return _mm256_set1_epi32(static_cast<int>(*word)); }
    static Vector add(Vector a, Vector b) { return _mm256_xor_si256(a, b); }
    static Vector add(Vector a, Vector b, Vector c) { return add(a, add(b, c)); }
    static Vector shuffle(Vector v, const basis::Table& from) { return _mm256_shuffle_epi8(v, repeat(from)); }

    static void transpose(Vector& a, Vector& b, Vector& c, Vector& d) {
        const Vector ab_low = _mm256_unpacklo_epi32(a, b), ab_high = _mm256_unpackhi_epi32(a, b);
        const Vector cd_low = _mm256_unpacklo_epi32(c, d), cd_high = _mm256_unpackhi_epi32(c, d);
        a = _mm256_unpacklo_epi64(ab_low, cd_low);
        b = _mm256_unpackhi_epi64(ab_low, cd_low);
        c = _mm256_unpacklo_epi64(ab_high, cd_high);
        d = _mm256_unpackhi_epi64(ab_high, cd_high);
    }
};
#endif

#ifdef __AVX512BW__
struct Lanes512 {
    using Vector = __m512i;
    static constexpr std::size_t lanes = 4, registers = 32;

    static Vector load(const std::uint8_t* p) { return _mm512_loadu_si512(p); }
    static void store(std::uint8_t* p, Vector v) { _mm512_storeu_si512(p, v); }

    static __mmask8 mask(std::size_t blocks) {
        return static_cast<__mmask8>(blocks < 4 ? (1u << 2 * blocks) - 1 : 255u);
    }
    static Vector load_blocks(const std::uint8_t* p, std::size_t blocks) {
        return _mm512_maskz_loadu_epi64(mask(blocks), p);
    }
    static void store_blocks(std::uint8_t* p, Vector v, std::size_t blocks) {
        _mm512_mask_storeu_epi64(p, mask(blocks), v);
    }
    static Vector load_behind(__m128i first, const std::uint8_t* p, std::size_t blocks) {
        return _mm512_alignr_epi64(load_blocks(p, blocks - 1), _mm512_broadcast_i32x4(first), 6);
    }

    static Vector zero() { return _mm512_setzero_si512(); }
    static Vector broadcast(const std::uint32_t* word) { return _mm512_set1_epi32(static_cast<int>(*word)); }
    static Vector add(Vector a, Vector b) { return _mm512_xor_si512(a, b); }
    static Vector add(Vector a, Vector b, Vector c) { return _mm512_ternarylogic_epi64(a, b, c, 0x96); }
    static Vector shuffle(Vector v, const basis::Table& from) {
        return _mm512_shuffle_epi8(v, _mm512_broadcast_i32x4(Lanes128::load_aligned(from.byte)));
    }
    static Vector reverse_lanes(Vector v) { return _mm512_shuffle_i64x2(v, v, 0x1b); }

    static void transpose(Vector& a, Vector& b, Vector& c, Vector& d) {
        const Vector ab_low = _mm512_unpacklo_epi32(a, b), ab_high = _mm512_unpackhi_epi32(a, b);
        const Vector cd_low = _mm512_unpacklo_epi32(c, d), cd_high = _mm512_unpackhi_epi32(c, d);
        a = _mm512_unpacklo_epi64(ab_low, cd_low);
        b = _mm512_unpackhi_epi64(ab_low, cd_low);
        c = _mm512_unpacklo_epi64(ab_high, cd_high);
        d = _mm512_unpackhi_epi64(ab_high, cd_high);
    }
};
#endif

}  // namespace
}  // namespace ulmaro::sm4
