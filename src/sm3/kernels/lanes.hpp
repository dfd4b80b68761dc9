// SM3 of several messages side by side, one word of each in a vector, for any kernel that supplies the vectors.
//
// Wide has
//   Vector, lanes                  a vector of `lanes` 32-bit words
//   load(p), store(p, v)           aligned rows
//   broadcast(p)                   one word in all lanes
//   add, exor                      of two vectors, exor of three too
//   rotate<n>(v)                   to the left
//   majority(a, b, c), choice(e, f, g)
//
// The names are local to each kernel file, so that none can lend another a copy built for instructions that the
// processor may lack.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sm3/constants.hpp"
#include "sm3/kernels.hpp"

namespace ulmaro::sm3 {
namespace {

template <typename Wide>
struct LaneFunctions {
    using Vector = typename Wide::Vector;
    static constexpr std::size_t lanes = Wide::lanes;

    /// The state, and the next words: what four rounds leave for the next four.
    struct State {
        Vector a, b, c, d, e, f, g, h;
        Vector w[4];
    };

    /// The round of rounds.hpp.
    template <bool early>
    [[gnu::always_inline]] static void round(Vector a, Vector& b, Vector c, Vector& d, Vector e, Vector& f, Vector g,
                                             Vector& h, const std::uint32_t* t, Vector w, Vector w4) {
        const Vector a12 = Wide::template rotate<12>(a);
        const Vector ss1 = Wide::template rotate<7>(Wide::add(Wide::add(a12, Wide::broadcast(t)), e));
        const Vector ff = early ? Wide::exor(a, b, c) : Wide::majority(a, b, c);
        const Vector gg = early ? Wide::exor(e, f, g) : Wide::choice(e, f, g);
        const Vector tt1 = Wide::add(Wide::add(ff, Wide::add(d, Wide::exor(w, w4))), Wide::exor(ss1, a12));
        const Vector tt2 = Wide::add(Wide::add(gg, Wide::add(h, w)), ss1);
        b = Wide::template rotate<9>(b);
        d = tt1;
        f = Wide::template rotate<19>(f);
        h = Wide::exor(tt2, Wide::template rotate<9>(tt2), Wide::template rotate<17>(tt2));
    }

    /// W_j of every lane, for j = 0 at w and at common.
    [[gnu::always_inline]] static Vector word(const std::uint32_t* w, const std::uint32_t* common) {
        return Wide::exor(Wide::broadcast(common), Wide::load(w));
    }

    template <bool early>
    [[gnu::always_inline]] static void four_rounds(State& s, unsigned j, const std::uint32_t* w, std::size_t row,
                                                   const std::uint32_t* common, std::size_t stride) {
        const std::uint32_t* t = rotated_constants.t + j;
        w += (j + 4) * row;
        common += (j + 4) * stride;
        const Vector w4 = word(w, common);
        round<early>(s.a, s.b, s.c, s.d, s.e, s.f, s.g, s.h, t, s.w[0], w4);
        const Vector w5 = word(w + row, common + stride);
        round<early>(s.d, s.a, s.b, s.c, s.h, s.e, s.f, s.g, t + 1, s.w[1], w5);
        const Vector w6 = word(w + 2 * row, common + 2 * stride);
        round<early>(s.c, s.d, s.a, s.b, s.g, s.h, s.e, s.f, t + 2, s.w[2], w6);
        const Vector w7 = word(w + 3 * row, common + 3 * stride);
        round<early>(s.b, s.c, s.d, s.a, s.f, s.g, s.h, s.e, t + 3, s.w[3], w7);
        s.w[0] = w4;
        s.w[1] = w5;
        s.w[2] = w6;
        s.w[3] = w7;
    }

    static Vector row_at(const std::uint32_t* v, std::size_t i) { return Wide::load(v + i * lanes); }
    /// result row i = v row i xor x.
    static void store_sum(std::uint32_t* result, const std::uint32_t* v, std::size_t i, Vector x) {
        Wide::store(result + i * lanes, Wide::exor(row_at(v, i), x));
    }

    static void compress_lanes(const std::uint32_t* v, std::uint32_t* result, const std::uint32_t* w, std::size_t row,
                               const std::uint32_t* common, std::size_t stride) noexcept {
        State s{row_at(v, 0), row_at(v, 1), row_at(v, 2),
                row_at(v, 3), row_at(v, 4), row_at(v, 5),
                row_at(v, 6), row_at(v, 7), {}};
        for (unsigned i = 0; i < 4; ++i) s.w[i] = word(w + i * row, common + i * stride);
        for (unsigned j = 0; j < 16; j += 4) four_rounds<true>(s, j, w, row, common, stride);
        for (unsigned j = 16; j < 64; j += 4) four_rounds<false>(s, j, w, row, common, stride);
        store_sum(result, v, 0, s.a);
        store_sum(result, v, 1, s.b);
        store_sum(result, v, 2, s.c);
        store_sum(result, v, 3, s.d);
        store_sum(result, v, 4, s.e);
        store_sum(result, v, 5, s.f);
        store_sum(result, v, 6, s.g);
        store_sum(result, v, 7, s.h);
    }

    static void expand_lanes(std::uint32_t* w) noexcept {
        for (std::uint32_t* next = w + 16 * lanes; next != w + 68 * lanes; next += lanes) {
            const auto before = [next](std::size_t rows) { return Wide::load(next - rows * lanes); };
            const Vector x = Wide::exor(before(16), before(9), Wide::template rotate<15>(before(3)));
            const Vector y = Wide::exor(Wide::template rotate<7>(before(13)), before(6));
            Wide::store(next, Wide::exor(Wide::exor(x, y), Wide::template rotate<15>(x), Wide::template rotate<23>(x)));
        }
    }

    using StreamFunction = void (*)(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept;

    static constexpr Kernels named(const char* name, StreamFunction compress) {
        return {name, compress, lanes, expand_lanes, compress_lanes};
    }
};

}  // namespace
}  // namespace ulmaro::sm3
