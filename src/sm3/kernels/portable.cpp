// SM3 compression in plain C++: V := CF(V, block) for each block in turn.
//
//   compress_portable(v[8], data[64 * blocks], blocks)    v and data do not overlap; any alignment of data
//
// Expansion runs four words ahead of the rounds, in a ring of 16 words: what fits the registers least badly.
#include "sm3/kernels/portable.hpp"

#include <array>

#include "base/bytes.hpp"
#include "base/wipe.hpp"
#include "sm3/rounds.hpp"

namespace ulmaro::sm3 {
namespace {

constexpr std::array<std::uint32_t, 64> kRotatedConstants = [] {
    std::array<std::uint32_t, 64> t{};
    for (unsigned j = 0; j < 64; ++j) t[j] = rotl32(round_constant(j), j % 32);
    return t;
}();

struct State {
    std::uint32_t a, b, c, d, e, f, g, h;
};

/// Rounds j to j + 3; from j = 12 on they first make the words W_(j+4) to W_(j+7), in place of W_(j-12) to W_(j-9).
template <unsigned j>
[[gnu::always_inline]] inline void four_rounds(State& s, std::uint32_t* w) noexcept {
    constexpr bool kEarly = j < 16;
    constexpr const std::uint32_t* t = kRotatedConstants.data() + j;
    const auto at = [w](unsigned i) -> std::uint32_t& { return w[i % 16]; };
    const auto next = [at](unsigned i) {
        if constexpr (j >= 12) at(i) = expand(at(i), at(i - 13), at(i - 9), at(i - 6), at(i - 3));
        return at(i);
    };
    round<kEarly>(s.a, s.b, s.c, s.d, s.e, s.f, s.g, s.h, t[0], at(j), at(j) ^ next(j + 4));
    round<kEarly>(s.d, s.a, s.b, s.c, s.h, s.e, s.f, s.g, t[1], at(j + 1), at(j + 1) ^ next(j + 5));
    round<kEarly>(s.c, s.d, s.a, s.b, s.g, s.h, s.e, s.f, t[2], at(j + 2), at(j + 2) ^ next(j + 6));
    round<kEarly>(s.b, s.c, s.d, s.a, s.f, s.g, s.h, s.e, t[3], at(j + 3), at(j + 3) ^ next(j + 7));
}

template <unsigned... kGroup>
[[gnu::always_inline]] inline void all_rounds(State& s, std::uint32_t* w,
                                              std::integer_sequence<unsigned, kGroup...>) noexcept {
    (four_rounds<4 * kGroup>(s, w), ...);
}

[[gnu::noinline]] void compress_blocks(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept {
    std::uint32_t w[16];
    for (; blocks != 0; --blocks, data += 64) {
        for (unsigned i = 0; i < 16; ++i) w[i] = load_be32(data + 4 * i);
        State s{v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7]};
        all_rounds(s, w, std::make_integer_sequence<unsigned, 16>{});
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
