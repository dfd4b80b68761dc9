// Arithmetic on lanes. Products take limbs below 2^52 and return limbs that are not; carried and folded bring them
// below again. How large they become where is proved with the formulas.
#pragma once

#include "sm2p256/kernels/x86_lane_points.hpp"

namespace ulmaro::sm2p256 {

using Vector = __m256i;

inline constexpr std::uint64_t low52 = (std::uint64_t{1} << 52) - 1;

/// Limb i of five limbs of 52 bits, from four of 64.
constexpr std::uint64_t limb52(const Limbs& a, int i) noexcept {
    const int word = 52 * i / 64, shift = 52 * i % 64;
    std::uint64_t limb = a[word] >> shift;
    if (shift > 12 && word < 3) limb |= a[word + 1] << (64 - shift);
    return limb & low52;
}

constexpr std::uint64_t prime52(int i) noexcept { return limb52(field_prime.w, i); }

[[gnu::always_inline]] inline Vector repeated(std::uint64_t x) noexcept {
    return _mm256_set1_epi64x(static_cast<long long>(x));
}

[[gnu::always_inline]] inline Vector each(std::uint64_t a, std::uint64_t b, std::uint64_t c, std::uint64_t d) noexcept {
    return _mm256_setr_epi64x(static_cast<long long>(a), static_cast<long long>(b), static_cast<long long>(c),
                              static_cast<long long>(d));
}

[[gnu::always_inline]] inline Vector add(Vector a, Vector b) noexcept { return _mm256_add_epi64(a, b); }
[[gnu::always_inline]] inline Vector sub(Vector a, Vector b) noexcept { return _mm256_sub_epi64(a, b); }

/// f(0), f(1), .. f(4) as limbs.
template <typename F>
[[gnu::always_inline]] inline Lanes limbs(const F& f) noexcept {
    return {{f(0), f(1), f(2), f(3), f(4)}};
}

/// Each lane from the lane of this number.
template <int a, int b, int c, int d>
[[gnu::always_inline]] inline Lanes lanes(const Lanes& v) noexcept {
    return limbs([&](int i) { return _mm256_permute4x64_epi64(v.l[i], a | b << 2 | c << 4 | d << 6); });
}

/// Lane `from` in the lanes of the mask, 0 in the others.
template <int mask, int from>
[[gnu::always_inline]] inline Lanes only(const Lanes& v) noexcept {
    return limbs([&](int i) { return _mm256_maskz_permutex_epi64(mask, v.l[i], 0x55 * from); });
}

/// b in the lanes of the mask, a in the others.
template <int mask>
[[gnu::always_inline]] inline Lanes blend(const Lanes& a, const Lanes& b) noexcept {
    constexpr int halves = (mask & 1) * 0x03 | (mask >> 1 & 1) * 0x0c | (mask >> 2 & 1) * 0x30 | (mask >> 3) * 0xc0;
    return limbs([&](int i) { return _mm256_blend_epi32(a.l[i], b.l[i], halves); });
}

/// Carries up to the top limb; no limb is negative.
[[gnu::always_inline]] inline Lanes carried(Lanes v) noexcept {
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i) {
        v.l[i + 1] = add(v.l[i + 1], _mm256_srli_epi64(v.l[i], 52));
        v.l[i] = _mm256_and_si256(v.l[i], repeated(low52));
    }
    return v;
}

/// The same modulo p, without most of what exceeds 2^256: 2^256 is 2^224 + 2^96 - 2^64 + 1.
[[gnu::always_inline]] inline Lanes folded(Lanes v) noexcept {
    const Vector above = _mm256_srli_epi64(v.l[4], 48);
    v.l[0] = add(v.l[0], above);
    v.l[1] = _mm256_madd52lo_epu64(v.l[1], above, repeated((std::uint64_t{1} << 44) - (std::uint64_t{1} << 12)));
    v.l[4] = add(_mm256_and_si256(v.l[4], repeated(low52 >> 4)), _mm256_slli_epi64(above, 16));
    return carried(v);
}

/// Limb i of the p that product adds, in a form that stays positive when the reduction takes a limb of 52 bits away.
constexpr std::uint64_t product_offset(int i) noexcept {
    return prime52(i) + (i < 2 ? std::uint64_t{1} << 53 : 0) - (i == 1 || i == 2 ? 2 : 0);
}

/// Limb i of n p, in a form from which limbs up to 2^58 can be taken away.
constexpr std::uint64_t difference_offset(std::uint64_t n, int i) noexcept {
    return n * prime52(i) + (i < 4 ? std::uint64_t{1} << 58 : 0) - (i > 0 ? std::uint64_t{1} << 6 : 0);
}

/// a b / 2^260 + p modulo p, limbs not carried. -1 / p is 1 modulo 2^52, so the lowest limb q is the multiple of p that
/// clears it: t + q p is t - q + q (p + 1), and p + 1 is 2^52 (bottom - 2^52 + 2^156 top).
[[gnu::always_inline]] inline Lanes product(const Lanes& a, const Lanes& b) noexcept {
    constexpr std::uint64_t bottom = (std::uint64_t{1} << 52) - (std::uint64_t{1} << 44) + (std::uint64_t{1} << 12);
    constexpr std::uint64_t top = (std::uint64_t{1} << 48) - (std::uint64_t{1} << 16);
    // Column k is the sum of low[k] and high[k]: two chains.
    Vector low[10], high[10];
#pragma GCC unroll 10
    for (int k = 0; k < 10; ++k) {
        low[k] = k < 5 ? _mm256_setzero_si256() : repeated(product_offset(k - 5));
        high[k] = _mm256_setzero_si256();
    }
#pragma GCC unroll 10
    for (int k = 0; k < 9; ++k) {
#pragma GCC unroll 5
        for (int i = k < 5 ? 0 : k - 4; i <= (k < 5 ? k : 4); ++i) {
            low[k] = _mm256_madd52lo_epu64(low[k], a.l[i], b.l[k - i]);
            high[k + 1] = _mm256_madd52hi_epu64(high[k + 1], a.l[i], b.l[k - i]);
        }
    }
    Vector t[10];
#pragma GCC unroll 10
    for (int k = 0; k < 10; ++k) t[k] = add(low[k], high[k]);
#pragma GCC unroll 5
    for (int i = 0; i < 5; ++i) {
        const Vector q = _mm256_and_si256(t[i], repeated(low52));
        t[i + 1] = add(_mm256_madd52lo_epu64(t[i + 1], t[i], repeated(bottom)), _mm256_srai_epi64(t[i], 52));
        t[i + 2] = sub(_mm256_madd52hi_epu64(t[i + 2], t[i], repeated(bottom)), q);
        t[i + 4] = _mm256_madd52lo_epu64(t[i + 4], t[i], repeated(top));
        t[i + 5] = _mm256_madd52hi_epu64(t[i + 5], t[i], repeated(top));
    }
    return {{t[5], t[6], t[7], t[8], t[9]}};
}

// -- to and from limbs of 64 bits
[[gnu::always_inline]] inline void transpose(Vector (&w)[4]) noexcept {
    const Vector a = _mm256_unpacklo_epi64(w[0], w[1]), b = _mm256_unpackhi_epi64(w[0], w[1]);
    const Vector c = _mm256_unpacklo_epi64(w[2], w[3]), d = _mm256_unpackhi_epi64(w[2], w[3]);
    w[0] = _mm256_permute2x128_si256(a, c, 0x20);
    w[1] = _mm256_permute2x128_si256(b, d, 0x20);
    w[2] = _mm256_permute2x128_si256(a, c, 0x31);
    w[3] = _mm256_permute2x128_si256(b, d, 0x31);
}

[[gnu::always_inline]] inline Vector row(const Fe& a) noexcept {
    return _mm256_loadu_si256(reinterpret_cast<const Vector*>(a.w));
}

[[gnu::always_inline]] inline void set_row(Fe& r, Vector a) noexcept {
    _mm256_storeu_si256(reinterpret_cast<Vector*>(r.w), a);
}

/// Elements, in Montgomery form with 2^256, as lanes: times 16, which fills the five limbs.
[[gnu::always_inline]] inline Lanes load(const Fe& a, const Fe& b, const Fe& c, const Fe& d) noexcept {
    Vector w[4] = {row(a), row(b), row(c), row(d)};
    transpose(w);
    const auto joined = [](Vector low, int right, Vector high, int left) {
        const Vector upper = _mm256_and_si256(_mm256_slli_epi64(high, left), repeated(low52));
        return _mm256_or_si256(_mm256_srli_epi64(low, right), upper);
    };
    return {{_mm256_and_si256(_mm256_slli_epi64(w[0], 4), repeated(low52)), joined(w[0], 48, w[1], 16),
             joined(w[1], 36, w[2], 28), joined(w[2], 24, w[3], 40), _mm256_srli_epi64(w[3], 12)}};
}

/// Carries up to the top limb, limbs being signed.
[[gnu::always_inline]] inline Lanes carried_signed(Lanes v) noexcept {
#pragma GCC unroll 4
    for (int i = 0; i < 4; ++i) {
        v.l[i + 1] = add(v.l[i + 1], _mm256_srai_epi64(v.l[i], 52));
        v.l[i] = _mm256_and_si256(v.l[i], repeated(low52));
    }
    return v;
}

/// Lanes times factors below 2^256, divided by 2^260: reduced, each as a row of four limbs.
[[gnu::always_inline]] inline void store(Vector (&w)[4], const Lanes& v, const Lanes& factors) noexcept {
    const Lanes result = product(v, factors);
    const auto minus = [&](std::uint64_t n) {
        return carried_signed(
            limbs([&](int i) { return sub(result.l[i], repeated(n * prime52(i) + product_offset(i) - prime52(i))); }));
    };
    const Lanes once = minus(1), twice = minus(2);
    const __mmask8 negative = _mm256_movepi64_mask(twice.l[4]);
    const Lanes r = limbs([&](int i) { return _mm256_mask_mov_epi64(twice.l[i], negative, once.l[i]); });
    const auto joined = [&](int i) {
        return _mm256_or_si256(_mm256_srli_epi64(r.l[i], 12 * i), _mm256_slli_epi64(r.l[i + 1], 52 - 12 * i));
    };
    for (int i = 0; i < 4; ++i) w[i] = joined(i);
    transpose(w);
}

}  // namespace ulmaro::sm2p256
