// SM3 compression in plain C++: V := CF(V, block) for each block in turn.
//
//   compress_portable(v[8], data[64 * blocks], blocks)    v and data do not overlap; any alignment of data
//
// Expansion runs four words ahead of the rounds, in a ring of 16 words, which needs the fewest spills.
#include "base/bytes.hpp"
#include "base/wipe.hpp"
#include "sm3/constants.hpp"
#include "sm3/kernels.hpp"
#include "sm3/kernels/stream.hpp"
#include "sm3/rounds.hpp"

namespace ulmaro::sm3 {
namespace {

struct State {
    std::uint32_t a, b, c, d, e, f, g, h;
};

/// Rounds j to j + 3 of sixteen; t and w are the constants and the words of the sixteen. Words four rounds ahead,
/// beyond the block's own, are computed along the way and replace those 16 older.
template <bool early, unsigned j>
[[gnu::always_inline]] inline void four_rounds(State& s, std::uint32_t* w, const std::uint32_t* t) noexcept {
    const auto at = [w](unsigned i) -> std::uint32_t& { return w[i % 16]; };
    const auto next = [at](unsigned i) {
        if constexpr (!early || j >= 12) at(i) = expand(at(i), at(i - 13), at(i - 9), at(i - 6), at(i - 3));
        return at(i);
    };
    round<early>(s.a, s.b, s.c, s.d, s.e, s.f, s.g, s.h, t[j], at(j), at(j) ^ next(j + 4));
    round<early>(s.d, s.a, s.b, s.c, s.h, s.e, s.f, s.g, t[j + 1], at(j + 1), at(j + 1) ^ next(j + 5));
    round<early>(s.c, s.d, s.a, s.b, s.g, s.h, s.e, s.f, t[j + 2], at(j + 2), at(j + 2) ^ next(j + 6));
    round<early>(s.b, s.c, s.d, s.a, s.f, s.g, s.h, s.e, t[j + 3], at(j + 3), at(j + 3) ^ next(j + 7));
}

template <bool early>
[[gnu::always_inline]] inline void sixteen_rounds(State& s, std::uint32_t* w, const std::uint32_t* t) noexcept {
    four_rounds<early, 0>(s, w, t);
    four_rounds<early, 4>(s, w, t);
    four_rounds<early, 8>(s, w, t);
    four_rounds<early, 12>(s, w, t);
}

[[gnu::noinline]] void compress_blocks(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept {
    std::uint32_t w[16];
    for (; blocks != 0; --blocks, data += 64) {
        for (unsigned i = 0; i < 16; ++i) w[i] = load_be32(data + 4 * i);
        State s{v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]};
        sixteen_rounds<true>(s, w, rotated_constants.t);
#pragma GCC unroll 1
        for (unsigned j = 16; j < 64; j += 16) sixteen_rounds<false>(s, w, rotated_constants.t + j);
        v[0] ^= s.a;
        v[1] ^= s.b;
        v[2] ^= s.c;
        v[3] ^= s.d;
        v[4] ^= s.e;
        v[5] ^= s.f;
        v[6] ^= s.g;
        v[7] ^= s.h;
    }
}

}  // namespace

void compress_portable(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept {
    compress_blocks(v, data, blocks);
    wipe_used_stack(256);  // the last words, and what is left of the state
}

constinit const Kernels portable_kernels{"portable", compress_portable, 1, nullptr, nullptr};

}  // namespace ulmaro::sm3
