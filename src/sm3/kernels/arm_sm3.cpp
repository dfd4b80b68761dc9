// SM3 compression with the SM3 instructions of aarch64 (FEAT_SM3): V := CF(V, block) for each block in turn.
//
//   compress(v[8], data[64 * blocks], blocks)    v and data do not overlap; any alignment of data
//
// Without lanes: a block takes fewer than five instructions per round here, and nine in four lanes of NEON registers.
//
// The instructions need A and E in the highest lane, so the halves of the state are kept backwards: D C B A, H G F E.
#include <arm_neon.h>

#include <utility>

#include "sm3/constants.hpp"
#include "sm3/kernels.hpp"

namespace ulmaro::sm3 {
namespace {

struct State {
    uint32x4_t left, right;
};

/// T_j <<< j in the highest lane, where the instructions want it, for j < 48: from there on those of 16 to 31 return.
/// A vector each, so that one instruction loads two. There are registers for the 16 of rounds 16 to 31.
struct ConstantVectors {
    alignas(16) std::uint32_t t[48][4];
};
constexpr ConstantVectors constant_vectors = [] {
    ConstantVectors vectors{};
    for (unsigned j = 0; j < 48; ++j) vectors.t[j][3] = rotated_constants.t[j];
    return vectors;
}();

/// Round j; lane j % 4 of w and wp holds W_j and W'_j, the highest of t T_j <<< j.
template <unsigned j>
[[gnu::always_inline]] inline void round(State& s, uint32x4_t w, uint32x4_t wp, uint32x4_t t) {
    const uint32x4_t ss1 = vsm3ss1q_u32(s.left, s.right, t);
    if constexpr (j < 16) {
        s.left = vsm3tt1aq_u32(s.left, ss1, wp, j % 4);
        s.right = vsm3tt2aq_u32(s.right, ss1, w, j % 4);
    } else {
        s.left = vsm3tt1bq_u32(s.left, ss1, wp, j % 4);
        s.right = vsm3tt2bq_u32(s.right, ss1, w, j % 4);
    }
}

/// Rounds j and j + 1.
template <unsigned j>
[[gnu::always_inline]] inline void two_rounds(State& s, uint32x4_t w, uint32x4_t wp, const ConstantVectors* c,
                                              const uint32x4_t* kept) {
    if constexpr (j % 32 >= 16) {
        round<j>(s, w, wp, kept[j % 16]);
        round<j + 1>(s, w, wp, kept[j % 16 + 1]);
    } else {
        uint32x4_t first = vld1q_u32(c->t[j]), second = vld1q_u32(c->t[j + 1]);
        __asm__("" : "+w"(first), "+w"(second));  // side by side, so that g++ pairs the loads
        round<j>(s, w, wp, first);
        round<j + 1>(s, w, wp, second);
    }
}

/// Rounds j to j + 3 for j = 4i. w is a ring of four vectors, w[i % 4] = W_j to W_j+3, which W_j+16 to W_j+19 replace.
template <unsigned i>
[[gnu::always_inline]] inline void four_rounds(State& s, uint32x4_t* w, const ConstantVectors* c,
                                               const uint32x4_t* kept) {
    const uint32x4_t w0 = w[i % 4], w4 = w[(i + 1) % 4], w8 = w[(i + 2) % 4], w12 = w[(i + 3) % 4];
    const uint32x4_t wp = veorq_u32(w0, w4);
    two_rounds<4 * i>(s, w0, wp, c, kept);
    two_rounds<4 * i + 2>(s, w0, wp, c, kept);
    if constexpr (4 * i + 16 < 68) {
        const uint32x4_t part = vsm3partw1q_u32(w0, vextq_u32(w4, w8, 3), w12);
        w[i % 4] = vsm3partw2q_u32(part, vextq_u32(w8, w12, 2), vextq_u32(w0, w4, 3));
    }
}

template <unsigned... i>
[[gnu::always_inline]] inline void all_rounds(State& s, uint32x4_t* w, const ConstantVectors* c, const uint32x4_t* kept,
                                              std::integer_sequence<unsigned, i...>) {
    (four_rounds<i>(s, w, c, kept), ...);
}

[[gnu::always_inline]] inline uint32x4_t words_at(const std::uint8_t* data) {
    return vreinterpretq_u32_u8(vrev32q_u8(vld1q_u8(data)));
}

[[gnu::always_inline]] inline uint32x4_t backwards(uint32x4_t x) {
    const uint32x4_t swapped = vrev64q_u32(x);
    return vextq_u32(swapped, swapped, 2);
}

void compress(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept {
    const ConstantVectors* c = &constant_vectors;
    uint32x4_t kept[16];
    for (unsigned j = 0; j < 16; ++j) {
        kept[j] = vld1q_u32(c->t[16 + j]);
        __asm__("" : "+w"(kept[j]));
    }
    State chained{backwards(vld1q_u32(v)), backwards(vld1q_u32(v + 4))};
    for (; blocks != 0; --blocks, data += 64) {
        __asm__("" : "+r"(c));  // loaded in every block: there are not enough registers for all
        uint32x4_t w[4] = {words_at(data), words_at(data + 16), words_at(data + 32), words_at(data + 48)};
        State s = chained;
        all_rounds(s, w, c, kept, std::make_integer_sequence<unsigned, 16>{});
        chained.left = veorq_u32(chained.left, s.left);
        chained.right = veorq_u32(chained.right, s.right);
    }
    vst1q_u32(v, backwards(chained.left));
    vst1q_u32(v + 4, backwards(chained.right));
}

}  // namespace

constinit const Kernels arm_sm3_kernels{"arm-sm3", compress, 1, nullptr, nullptr};

}  // namespace ulmaro::sm3
