// SM3 compression with the SM3 instructions of aarch64 (FEAT_SM3): V := CF(V, block) for each block in turn.
//
//   compress(v[8], data[64 * blocks], blocks)    v and data do not overlap; any alignment of data
//
// Without lanes: a block takes fewer than seven instructions per round here, and nine in four lanes of NEON registers.
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

/// Round j; lane j % 4 of w and wp holds W_j and W'_j.
template <unsigned j>
[[gnu::always_inline]] inline void round(State& s, uint32x4_t w, uint32x4_t wp) {
    const uint32x4_t ss1 = vsm3ss1q_u32(s.left, s.right, vld1q_dup_u32(rotated_constants.t + j));
    if constexpr (j < 16) {
        s.left = vsm3tt1aq_u32(s.left, ss1, wp, j % 4);
        s.right = vsm3tt2aq_u32(s.right, ss1, w, j % 4);
    } else {
        s.left = vsm3tt1bq_u32(s.left, ss1, wp, j % 4);
        s.right = vsm3tt2bq_u32(s.right, ss1, w, j % 4);
    }
}

/// Rounds j to j + 3 for j = 4i. w is a ring of four vectors, w[i % 4] = W_j to W_j+3, which W_j+16 to W_j+19 replace.
template <unsigned i>
[[gnu::always_inline]] inline void four_rounds(State& s, uint32x4_t* w) {
    const uint32x4_t w0 = w[i % 4], w4 = w[(i + 1) % 4], w8 = w[(i + 2) % 4], w12 = w[(i + 3) % 4];
    const uint32x4_t wp = veorq_u32(w0, w4);
    round<4 * i>(s, w0, wp);
    round<4 * i + 1>(s, w0, wp);
    round<4 * i + 2>(s, w0, wp);
    round<4 * i + 3>(s, w0, wp);
    if constexpr (4 * i + 16 < 68) {
        const uint32x4_t part = vsm3partw1q_u32(w0, vextq_u32(w4, w8, 3), w12);
        w[i % 4] = vsm3partw2q_u32(part, vextq_u32(w8, w12, 2), vextq_u32(w0, w4, 3));
    }
}

template <unsigned... i>
[[gnu::always_inline]] inline void all_rounds(State& s, uint32x4_t* w, std::integer_sequence<unsigned, i...>) {
    (four_rounds<i>(s, w), ...);
}

[[gnu::always_inline]] inline uint32x4_t words_at(const std::uint8_t* data) {
    return vreinterpretq_u32_u8(vrev32q_u8(vld1q_u8(data)));
}

[[gnu::always_inline]] inline uint32x4_t backwards(uint32x4_t x) {
    const uint32x4_t swapped = vrev64q_u32(x);
    return vextq_u32(swapped, swapped, 2);
}

void compress(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept {
    State chained{backwards(vld1q_u32(v)), backwards(vld1q_u32(v + 4))};
    for (; blocks != 0; --blocks, data += 64) {
        uint32x4_t w[4] = {words_at(data), words_at(data + 16), words_at(data + 32), words_at(data + 48)};
        State s = chained;
        all_rounds(s, w, std::make_integer_sequence<unsigned, 16>{});
        chained.left = veorq_u32(chained.left, s.left);
        chained.right = veorq_u32(chained.right, s.right);
    }
    vst1q_u32(v, backwards(chained.left));
    vst1q_u32(v + 4, backwards(chained.right));
}

}  // namespace

constinit const Kernels arm_sm3_kernels{"arm-sm3", compress, 1, nullptr, nullptr};

}  // namespace ulmaro::sm3
