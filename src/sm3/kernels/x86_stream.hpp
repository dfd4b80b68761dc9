// One stream of SM3 on x86-64 with AVX2 and BMI2: V := CF(V, block) for each block in turn.
//
//   compress_stream<width>(v[8], data[64 * blocks], blocks)    v and data do not overlap; any alignment of data
//
// The rounds are bound by one chain of dependent instructions through E and by the integer units. So everything else
// runs in the vector units: the message expansion, three words per step, and W xor W[+4]. Both reach the rounds through
// memory operands.
//
// A round is inline assembly: in the order that compilers choose for the same instructions a block takes 15 % longer.
// round() in sm3/rounds.hpp is its twin in C++.
#pragma once

#include <immintrin.h>

#include <cstddef>
#include <cstdint>
#include <utility>

#include "base/wipe.hpp"
#include "sm3/constants.hpp"

namespace ulmaro::sm3 {
namespace {

/// How rounds from 16 on compute GG(E, F, G) = ((F ^ G) & E) ^ G, where E = y ^ z, y = x ^ (x <<< 9), z = x <<< 17.
/// Narrow ones take E as it is, 7 cycles along the chain. Wide ones compute (y & u) ^ ((z & u) ^ G), u = F ^ G, in the
/// round before: 6 cycles, as in the first 16 rounds, for two operations more, which is a gain where there are five or
/// more integer units.
enum class Rounds { narrow, wide };

inline constexpr unsigned steps = 22;       // of three rounds; the last step has round 63 alone
inline constexpr unsigned known_steps = 4;  // whose words all come from the block itself

/// Row i % 8 holds W_3i to W_3i+2 and the same of W'_j = W_j xor W_j+4 for step i; the fourth words are not used.
struct Schedule {
    alignas(32) std::uint32_t w[8][4];
    alignas(32) std::uint32_t wp[8][4];
};

/// The words that later ones come from, as rings: aligned[i % 6] is W_3i to W_3i+2 and shifted[i % 6] is W_3i+1 to
/// W_3i+3. The fourth lanes are unspecified.
struct Triples {
    __m128i aligned[6];
    __m128i shifted[6];
};

/// A to D and E to H at the first round; every round renames them by one place.
struct State {
    std::uint32_t left[4];
    std::uint32_t right[4];
    std::uint32_t gg;  // of the next round, in wide rounds from 15 on
};

template <int n>
[[gnu::always_inline]] inline __m128i rotate(__m128i x) {
#ifdef __AVX512VL__
    return _mm_maskz_rol_epi32(0xf, x, n);  // the plain form makes g++ 12 warn about its own header
#else
    return _mm_xor_si128(_mm_slli_epi32(x, n), _mm_srli_epi32(x, 32 - n));
#endif
}

[[gnu::always_inline]] inline __m128i exor(__m128i a, __m128i b, __m128i c) {
#ifdef __AVX512VL__
    return _mm_ternarylogic_epi32(a, b, c, 0x96);
#else
    return _mm_xor_si128(_mm_xor_si128(a, b), c);
#endif
}

[[gnu::always_inline]] inline __m128i words_at(const std::uint8_t* data, unsigned word) {
    const __m128i big_endian = _mm_setr_epi8(3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12);
    return _mm_shuffle_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(data + 4 * word)), big_endian);
}

[[gnu::always_inline]] inline void put_row(Schedule* s, unsigned row, __m128i w, __m128i w4) {
    _mm_store_si128(reinterpret_cast<__m128i*>(s->w[row % 8]), w);
    _mm_store_si128(reinterpret_cast<__m128i*>(s->wp[row % 8]), _mm_xor_si128(w, w4));
}

/// Row i < 4 from the block, which is read in quarters: a caller that has just filled it wrote each in one store.
template <unsigned i>
[[gnu::always_inline]] inline void known_row(Triples& t, Schedule* s, const std::uint8_t* data) {
    if constexpr (i == 0) {
        t.aligned[0] = words_at(data, 0);
        t.shifted[1] = words_at(data, 4);
    } else if constexpr (i == 1) {
        t.aligned[4] = words_at(data, 8);
        t.aligned[1] = _mm_alignr_epi8(t.shifted[1], t.aligned[0], 12);
        t.shifted[2] = _mm_alignr_epi8(t.aligned[4], t.shifted[1], 12);
    } else if constexpr (i == 2) {
        t.aligned[3] = t.aligned[4];
        t.aligned[4] = words_at(data, 12);
        t.aligned[2] = _mm_alignr_epi8(t.aligned[3], t.shifted[1], 8);
        t.shifted[3] = _mm_alignr_epi8(t.aligned[4], t.aligned[3], 8);
    } else {
        t.aligned[3] = _mm_alignr_epi8(t.aligned[4], t.aligned[3], 4);
        t.shifted[4] = _mm_srli_si128(t.aligned[4], 4);
    }
    put_row(s, i, t.aligned[i], t.shifted[i + 1]);
}

/// W_j to W_j+2 for j = 3 * i + 16, and with them row i + 4.
template <unsigned i>
[[gnu::always_inline]] inline void next_row(Triples& t, Schedule* s) {
    const __m128i w3 = t.shifted[(i + 4) % 6];
    const __m128i x = exor(t.aligned[i % 6], t.shifted[(i + 2) % 6], rotate<15>(w3));
    const __m128i w =
        exor(exor(x, rotate<15>(x), rotate<23>(x)), rotate<7>(t.aligned[(i + 1) % 6]), t.shifted[(i + 3) % 6]);
    t.shifted[(i + 5) % 6] = w;
    t.aligned[(i + 5) % 6] = _mm_alignr_epi8(w, _mm_slli_si128(w3, 4), 12);
    put_row(s, i + 4, t.aligned[(i + 4) % 6], w);
}

/// Round j. p, q and r are scratch: A <<< 12 and then SS2, SS1, and the parts of FF and GG. In wide rounds q is z, once
/// SS1 has been added.
template <unsigned j, Rounds width>
[[gnu::always_inline]] inline void round(State& state, const Schedule* s) {
    constexpr auto rotated = static_cast<std::int32_t>(rotated_constants.t[j]);
    const std::uint32_t a = state.left[(64 - j) % 4], c = state.left[(66 - j) % 4];
    const std::uint32_t e = state.right[(64 - j) % 4], g = state.right[(66 - j) % 4];
    std::uint32_t &b = state.left[(65 - j) % 4], &d = state.left[(67 - j) % 4];
    std::uint32_t &f = state.right[(65 - j) % 4], &h = state.right[(67 - j) % 4];
    std::uint32_t p, q, r;
    if constexpr (j < 16) {
        __asm__(
            "rorx $20, %[a], %[p]\n\t"
            "leal %c[t](%q[p]), %[q]\n\t"
            "addl %[e], %[q]\n\t"
            "rorx $25, %[q], %[q]\n\t"
            "xorl %[q], %[p]\n\t"
            "addl %[w], %[h]\n\t"
            "addl %[wp], %[d]\n\t"
            "movl %[f], %[r]\n\t"
            "xorl %[g], %[r]\n\t"
            "xorl %[e], %[r]\n\t"
            "addl %[r], %[h]\n\t"
            "movl %[b], %[r]\n\t"
            "xorl %[c], %[r]\n\t"
            "xorl %[a], %[r]\n\t"
            "addl %[r], %[d]\n\t"
            "addl %[q], %[h]\n\t"
            "addl %[p], %[d]\n\t"
            "rorx $23, %[h], %[p]\n\t"
            "rorx $15, %[h], %[q]\n\t"
            "rorx $23, %[b], %[b]\n\t"
            "rorx $13, %[f], %[f]\n\t"
            "xorl %[p], %[h]\n\t"
            "xorl %[q], %[h]"
            : [b] "+r"(b), [d] "+r"(d), [f] "+r"(f), [h] "+r"(h), [p] "=&r"(p), [q] "=&r"(q), [r] "=&r"(r)
            : [a] "r"(a), [c] "r"(c), [e] "r"(e), [g] "r"(g), [w] "m"(s->w[j / 3 % 8][j % 3]),
              [wp] "m"(s->wp[j / 3 % 8][j % 3]), [t] "i"(rotated)
            : "cc");
        if constexpr (j == 15 && width == Rounds::wide) state.gg = ((e ^ f) & h) ^ f;
    } else if constexpr (width == Rounds::narrow) {
        __asm__(
            "rorx $20, %[a], %[p]\n\t"
            "leal %c[t](%q[p]), %[q]\n\t"
            "addl %[e], %[q]\n\t"
            "rorx $25, %[q], %[q]\n\t"
            "xorl %[q], %[p]\n\t"
            "addl %[w], %[h]\n\t"
            "addl %[wp], %[d]\n\t"
            "movl %[f], %[r]\n\t"  // GG = ((F ^ G) & E) ^ G
            "xorl %[g], %[r]\n\t"
            "andl %[e], %[r]\n\t"
            "xorl %[g], %[r]\n\t"
            "addl %[r], %[h]\n\t"
            "movl %[b], %[r]\n\t"  // FF = (B & C) + ((B ^ C) & A)
            "andl %[c], %[r]\n\t"
            "rorx $13, %[f], %[f]\n\t"
            "addl %[r], %[d]\n\t"
            "movl %[b], %[r]\n\t"
            "xorl %[c], %[r]\n\t"
            "andl %[a], %[r]\n\t"
            "addl %[r], %[d]\n\t"
            "addl %[q], %[h]\n\t"
            "addl %[p], %[d]\n\t"
            "rorx $23, %[h], %[p]\n\t"
            "rorx $15, %[h], %[q]\n\t"
            "rorx $23, %[b], %[b]\n\t"
            "xorl %[p], %[h]\n\t"
            "xorl %[q], %[h]"
            : [b] "+r"(b), [d] "+r"(d), [f] "+r"(f), [h] "+r"(h), [p] "=&r"(p), [q] "=&r"(q), [r] "=&r"(r)
            : [a] "r"(a), [c] "r"(c), [e] "r"(e), [g] "r"(g), [w] "m"(s->w[j / 3 % 8][j % 3]),
              [wp] "m"(s->wp[j / 3 % 8][j % 3]), [t] "i"(rotated)
            : "cc");
    } else {
        // The order of these counts too: on a Golden Cove core the chain above, written down first, takes 20 cycles per
        // block longer.
        std::uint32_t& gg = state.gg;
        __asm__(
            "rorx $20, %[a], %[p]\n\t"
            "rorx $13, %[f], %[f]\n\t"
            "addl %[w], %[h]\n\t"
            "addl %[wp], %[d]\n\t"
            "leal %c[t](%q[p]), %[q]\n\t"
            "addl %[e], %[q]\n\t"
            "movl %[b], %[r]\n\t"
            "rorx $25, %[q], %[q]\n\t"
            "andl %[c], %[r]\n\t"
            "addl %[r], %[d]\n\t"
            "movl %[b], %[r]\n\t"
            "xorl %[c], %[r]\n\t"
            "andl %[a], %[r]\n\t"
            "addl %[r], %[d]\n\t"
            "addl %[gg], %[h]\n\t"
            "addl %[q], %[h]\n\t"
            "xorl %[q], %[p]\n\t"
            "movl %[e], %[gg]\n\t"
            "rorx $23, %[b], %[b]\n\t"
            "rorx $15, %[h], %[q]\n\t"
            "addl %[p], %[d]\n\t"
            "xorl %[f], %[gg]\n\t"
            "movl %[gg], %[r]\n\t"
            "andl %[q], %[gg]\n\t"
            "xorl %[f], %[gg]\n\t"
            "rorx $23, %[h], %[p]\n\t"
            "xorl %[p], %[h]\n\t"
            "andl %[h], %[r]\n\t"
            "xorl %[q], %[h]\n\t"
            "xorl %[r], %[gg]"
            :
            [b] "+r"(b), [d] "+r"(d), [f] "+r"(f), [h] "+r"(h), [p] "=&r"(p), [q] "=&r"(q), [r] "=&r"(r), [gg] "+r"(gg)
            : [a] "r"(a), [c] "r"(c), [e] "r"(e), [w] "m"(s->w[j / 3 % 8][j % 3]), [wp] "m"(s->wp[j / 3 % 8][j % 3]),
              [t] "i"(rotated)
            : "cc");
    }
}

/// Rounds 3i to 3i + 2, between them a row of the schedule: of this block, in the last steps of the next one.
template <unsigned i, Rounds width>
[[gnu::always_inline]] inline void step(State& state, Triples& t, Schedule* out, const Schedule* in,
                                        const std::uint8_t* next_block) {
    round<3 * i, width>(state, in);
    if constexpr (i + known_steps < steps) {
        next_row<i>(t, out);
    } else {
        known_row<i + known_steps - steps>(t, out, next_block);
    }
    if constexpr (i + 1 < steps) {
        round<3 * i + 1, width>(state, in);
        round<3 * i + 2, width>(state, in);
    }
}

template <Rounds width, unsigned... i>
[[gnu::always_inline]] inline void all_steps(State& state, Triples& t, Schedule* out, const Schedule* in,
                                             const std::uint8_t* next_block, std::integer_sequence<unsigned, i...>) {
    (step<i, width>(state, t, out, in, next_block), ...);
}

template <Rounds width>
[[gnu::noinline]] void compress_blocks(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept {
    Schedule schedule;
    Triples triples;
    // The compiler must not see that the rounds read what the expansion wrote: it would keep the words in vector
    // registers and extract them one by one.
    const Schedule* in = &schedule;
    __asm__("" : "+r"(in) : : "memory");

    known_row<0>(triples, &schedule, data);
    known_row<1>(triples, &schedule, data);
    known_row<2>(triples, &schedule, data);
    known_row<3>(triples, &schedule, data);
    for (; blocks != 0; --blocks) {
        const std::uint8_t* next = blocks > 1 ? data + 64 : data;
        State s{{v[0], v[1], v[2], v[3]}, {v[4], v[5], v[6], v[7]}, 0};
        all_steps<width>(s, triples, &schedule, in, next, std::make_integer_sequence<unsigned, steps>{});
        // Without this the compiler keeps a copy of v on the stack, and waits for it longer than for v.
        __asm__ volatile("" : "+r"(v) : : "memory");
        v[0] ^= s.left[0];
        v[1] ^= s.left[1];
        v[2] ^= s.left[2];
        v[3] ^= s.left[3];
        v[4] ^= s.right[0];
        v[5] ^= s.right[1];
        v[6] ^= s.right[2];
        v[7] ^= s.right[3];
        data = next;
    }
}

template <Rounds width>
void compress_stream(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept {
    if (blocks == 0) return;
    compress_blocks<width>(v, data, blocks);
    wipe_used_stack(512);  // the schedule, and the rest of the triples and the state
}

}  // namespace
}  // namespace ulmaro::sm3
