// SM3 compression of one stream on aarch64 with NEON: V := CF(V, block) for each block in turn.
//
//   compress_neon(v[8], data[64 * blocks], blocks)    v and data do not overlap; any alignment of data
//
// A round is 20 integer instructions, and processors with three integer units are busy with those and nothing else. So
// whatever can wait a few rounds is left to the vector units: the message expansion, three words per step, and
// D + W' of two rounds at a time, for which A takes the way through memory, three rounds before it is needed as D.
// Words and sums come back in pairs, one 64-bit register for two rounds; the upper half is added as a shifted operand.
// Rotations that feed a logical operation are free in the same way, so C is rotated where it is used.
//
// Compilers would make the chains through A and E longer and move the vector code in front of the rounds; the small
// pieces of assembly prevent that. round() in sm3/rounds.hpp is the round in plain C++.
#include <arm_neon.h>

#include <utility>

#include "base/wipe.hpp"
#include "sm3/kernels/stream.hpp"
#include "sm3/rounds.hpp"

namespace ulmaro::sm3 {
namespace {

constexpr unsigned steps = 22;            // of three rounds; the last step has round 63 alone
constexpr unsigned expanding_steps = 18;  // W_16 to W_69; the last two words are not used

/// The words that later ones come from, as rings: aligned[i % 6] is W_3i to W_3i+3, and shifted[i % 6] is W_3i+1 to
/// W_3i+3 with an unspecified fourth lane.
struct Words {
    uint32x4_t aligned[6];
    uint32x4_t shifted[6];
};

/// A to D and E to H at the first round; every round renames them by one place. C and D are not rotated yet.
struct State {
    std::uint32_t left[4];
    std::uint32_t right[4];
    // Of this round and its neighbour, the even one in the lower half:
    std::uint32_t t[2];
    std::uint64_t w;
    std::uint64_t sums;  // D + W'
    // Of the rounds after them:
    uint32x2_t next_sums;
    uint32x2_t pairs[3];  // pairs[m % 3] = W_2m, W_2m+1 for m = j / 2 + 1 to j / 2 + 3
};

template <int n>
[[gnu::always_inline]] inline uint32x4_t rotate(uint32x4_t x) {
    return vsriq_n_u32(vshlq_n_u32(x, n), x, 32 - n);
}

/// The compiler must not compute x later, nor anything from it earlier.
[[gnu::always_inline]] inline void pin(uint32x4_t& x) { __asm__("" : "+w"(x)); }

/// g++ uses an instruction that takes two micro-operations on some processors.
[[gnu::always_inline]] inline std::uint64_t to_integer(uint32x2_t x) {
    std::uint64_t r;
    __asm__("fmov %0, %d1" : "=r"(r) : "w"(x));
    return r;
}

/// x + the half of pair that belongs to round j.
template <unsigned j>
[[gnu::always_inline]] inline std::uint32_t plus(std::uint32_t x, std::uint64_t pair) {
    if constexpr (j % 2 == 0) return x + static_cast<std::uint32_t>(pair);
    std::uint64_t sum;
    __asm__("add %0, %x1, %2, lsr 32" : "=r"(sum) : "r"(x), "r"(pair));
    return static_cast<std::uint32_t>(sum);
}

/// b xor (c <<< 9), in one instruction although another one needs c <<< 9 too.
[[gnu::always_inline]] inline std::uint32_t exor_rotated(std::uint32_t b, std::uint32_t c) {
    std::uint32_t r;
    __asm__("eor %w0, %w1, %w2, ror 23" : "=r"(r) : "r"(b), "r"(c));
    return r;
}

/// b and a, which are D of two later rounds but for the rotation. Through memory, which costs no integer unit anything.
[[gnu::always_inline]] inline uint32x2_t to_vector(std::uint64_t* room, std::uint32_t b, std::uint32_t a) {
    uint32x2_t x;
    __asm__(
        "stp %w2, %w3, %0\n\t"
        "ldur %d1, %0"
        : "=Q"(*room), "=w"(x)
        : "r"(b), "r"(a));
    return vsri_n_u32(vshl_n_u32(x, 9), x, 23);
}

/// W_2m and W_2m+1.
template <unsigned m>
[[gnu::always_inline]] inline uint32x2_t pair(const Words& words) {
    constexpr unsigned i = m / 3 * 2;
    if constexpr (m % 3 == 0) return vget_low_u32(words.aligned[i % 6]);
    if constexpr (m % 3 == 1) return vget_high_u32(words.aligned[i % 6]);
    return vget_low_u32(words.shifted[(i + 1) % 6]);
}

/// Words and sums for rounds j and j + 1, and the sums for the two after them. j is even.
template <unsigned j>
[[gnu::always_inline]] inline void next_pair(State& s, const Words& words, const std::uint32_t* t,
                                             std::uint64_t* room) {
    constexpr unsigned m = j / 2;
    s.t[0] = t[j];
    s.t[1] = t[j + 1];
    s.w = to_integer(s.pairs[m % 3]);
    s.sums = to_integer(s.next_sums);
    if constexpr (j + 2 < 64) {
        const uint32x2_t d = to_vector(room, s.left[(65 - j) % 4], s.left[(64 - j) % 4]);
        s.pairs[m % 3] = pair<m + 3>(words);
        s.next_sums = vadd_u32(d, veor_u32(s.pairs[(m + 1) % 3], s.pairs[m % 3]));
    }
}

template <unsigned j>
[[gnu::always_inline]] inline void round(State& s, const Words& words, const std::uint32_t* t, std::uint64_t* room) {
    if constexpr (j % 2 == 0) next_pair<j>(s, words, t, room);
    const std::uint32_t a = s.left[(64 - j) % 4], b = s.left[(65 - j) % 4], c = s.left[(66 - j) % 4];
    const std::uint32_t e = s.right[(64 - j) % 4], g = s.right[(66 - j) % 4];
    std::uint32_t &d = s.left[(67 - j) % 4], &f = s.right[(65 - j) % 4], &h = s.right[(67 - j) % 4];
    // Without SS2 and SS1, which come last.
    std::uint32_t tt1, tt2 = plus<j>(h, s.w);
    if constexpr (j < 16) {
        tt1 = plus<j>((b ^ rotl32(c, 9)) ^ a, s.sums);
        tt2 += (f ^ g) ^ e;
    } else {
        tt1 = plus<j>(b & rotl32(c, 9), s.sums) + (exor_rotated(b, c) & a);
        tt2 += f & e;
        __asm__("" : "+r"(tt2));  // clang would add the other way round
        tt2 += g & ~e;
    }
    std::uint32_t new_a, new_e, p, q;
    __asm__(
        "ror %w[p], %w[a], 20\n\t"
        "add %w[q], %w[p], %w[t]\n\t"
        "add %w[q], %w[q], %w[e]\n\t"
        "eor %w[p], %w[p], %w[q], ror 25\n\t"
        "ror %w[q], %w[q], 25\n\t"
        "add %w[new_a], %w[tt1], %w[p]\n\t"
        "add %w[new_e], %w[tt2], %w[q]\n\t"
        "eor %w[q], %w[new_e], %w[new_e], ror 23\n\t"
        "eor %w[new_e], %w[q], %w[new_e], ror 15"
        : [new_a] "=&r"(new_a), [new_e] "=&r"(new_e), [p] "=&r"(p), [q] "=&r"(q)
        : [a] "r"(a), [e] "r"(e), [t] "r"(s.t[j % 2]), [tt1] "r"(tt1), [tt2] "r"(tt2));
    d = new_a;
    f = rotl32(f, 19);
    h = new_e;
}

/// Rounds 3i to 3i + 2, and between them W_j to W_j+2 for j = 3i + 16.
template <unsigned i>
[[gnu::always_inline]] inline void step(State& s, Words& words, const std::uint32_t* t, std::uint64_t* room) {
    if constexpr (i < expanding_steps) {
        auto& [aligned, shifted] = words;
        uint32x4_t x = veorq_u32(veorq_u32(aligned[i % 6], shifted[(i + 2) % 6]), rotate<15>(shifted[(i + 4) % 6]));
        pin(x);
        round<3 * i>(s, words, t, room);
        uint32x4_t y = veorq_u32(veorq_u32(rotate<7>(aligned[(i + 1) % 6]), shifted[(i + 3) % 6]), x);
        pin(y);
        round<3 * i + 1>(s, words, t, room);
        uint32x4_t z = veorq_u32(rotate<15>(x), rotate<23>(x));
        pin(z);
        round<3 * i + 2>(s, words, t, room);
        shifted[(i + 5) % 6] = veorq_u32(y, z);
        aligned[(i + 5) % 6] = vextq_u32(aligned[(i + 4) % 6], shifted[(i + 5) % 6], 3);
    } else {
        round<3 * i>(s, words, t, room);
        if constexpr (i + 1 < steps) {
            round<3 * i + 1>(s, words, t, room);
            round<3 * i + 2>(s, words, t, room);
        }
    }
}

template <unsigned... i>
[[gnu::always_inline]] inline void all_steps(State& s, Words& words, const std::uint32_t* t, std::uint64_t* room,
                                             std::integer_sequence<unsigned, i...>) {
    (step<i>(s, words, t, room), ...);
}

[[gnu::always_inline]] inline uint32x4_t words_at(const std::uint8_t* data) {
    return vreinterpretq_u32_u8(vrev32q_u8(vld1q_u8(data)));
}

[[gnu::noinline]] void compress_blocks(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept {
    std::uint64_t on_stack;
    std::uint64_t* room = &on_stack;
    const std::uint32_t* t = rotated_constants.t;
    __asm__("" : "+r"(room), "+r"(t));  // an address in a register, and constants that are loaded
    for (; blocks != 0; --blocks, data += 64) {
        const uint32x4_t w0 = words_at(data), w4 = words_at(data + 16), w8 = words_at(data + 32);
        const uint32x4_t w12 = words_at(data + 48);
        Words words;
        words.aligned[0] = w0;
        words.aligned[1] = vextq_u32(w0, w4, 3);
        words.aligned[2] = vextq_u32(w4, w8, 2);
        words.aligned[3] = vextq_u32(w8, w12, 1);
        words.aligned[4] = w12;
        words.shifted[1] = w4;
        words.shifted[2] = vextq_u32(w4, w8, 3);
        words.shifted[3] = vextq_u32(w8, w12, 2);
        words.shifted[4] = vextq_u32(w12, w12, 1);

        State s;
        s.left[0] = v[0];
        s.left[1] = v[1];
        s.left[2] = rotl32(v[2], 23);
        for (unsigned i = 0; i < 4; ++i) s.right[i] = v[4 + i];
        s.pairs[0] = pair<0>(words);
        s.pairs[1] = pair<1>(words);
        s.pairs[2] = pair<2>(words);
        s.next_sums = vadd_u32(vrev64_u32(vld1_u32(v + 2)), veor_u32(s.pairs[0], s.pairs[2]));  // D and C
        all_steps(s, words, t, room, std::make_integer_sequence<unsigned, steps>{});
        // The next block starts from the sums in registers; a copy of v would need eight more.
        __asm__("" : "+r"(v) : : "memory");
        v[0] ^= s.left[0];
        v[1] ^= s.left[1];
        v[2] ^= rotl32(s.left[2], 9);
        v[3] ^= rotl32(s.left[3], 9);
        for (unsigned i = 0; i < 4; ++i) v[4 + i] ^= s.right[i];
    }
}

}  // namespace

void compress_neon(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept {
    compress_blocks(v, data, blocks);
    wipe_used_stack(256);  // two words of the state, and what the compiler saves
}

}  // namespace ulmaro::sm3
