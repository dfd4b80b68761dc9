// SM3 of several messages side by side, one word of each in a vector. A kernel file includes this inside its anonymous
// namespace, so that nothing here is shared between objects of different targets, after it has defined
//
//   V, kLanes                      a vector of kLanes 32-bit words
//   load(p), store(p, v)           aligned rows
//   broadcast(p), constant(x)      one word in all lanes
//   add, exor, exor3               of two and three vectors
//   rotate<n>(v)
//   majority(a, b, c), choice(e, f, g)

constexpr std::uint32_t rotated_constant(unsigned j) {
    const std::uint32_t t = j < 16 ? 0x79cc4519 : 0x7a879d8a;
    return j % 32 == 0 ? t : t << j % 32 | t >> (32 - j % 32);
}

struct Constants {
    std::uint32_t t[64];
    constexpr Constants() : t{} {
        for (unsigned j = 0; j < 64; ++j) t[j] = rotated_constant(j);
    }
};

constexpr Constants kConstants;

/// The round of rounds.hpp.
template <bool kEarly>
[[gnu::always_inline]] inline void round(V a, V& b, V c, V& d, V e, V& f, V g, V& h, const std::uint32_t* t, V w,
                                         V w4) {
    const V a12 = rotate<12>(a);
    const V ss1 = rotate<7>(add(add(a12, broadcast(t)), e));
    const V ff = kEarly ? exor3(a, b, c) : majority(a, b, c);
    const V gg = kEarly ? exor3(e, f, g) : choice(e, f, g);
    const V tt1 = add(add(ff, add(d, exor(w, w4))), exor(ss1, a12));
    const V tt2 = add(add(gg, add(h, w)), ss1);
    b = rotate<9>(b);
    d = tt1;
    f = rotate<19>(f);
    h = exor3(tt2, rotate<9>(tt2), rotate<17>(tt2));
}

/// What four rounds leave for the next four.
struct Lanes {
    V a, b, c, d, e, f, g, h;
    V w[4];
};

template <bool kEarly>
[[gnu::always_inline]] inline void four_rounds(Lanes& s, unsigned j, const std::uint32_t* w,
                                               std::size_t row, const std::uint32_t* common, std::size_t stride) {
    const std::uint32_t* t = kConstants.t + j;
    w += (j + 4) * row;
    common += (j + 4) * stride;
    const V w4 = exor(broadcast(common), load(w));
    round<kEarly>(s.a, s.b, s.c, s.d, s.e, s.f, s.g, s.h, t, s.w[0], w4);
    const V w5 = exor(broadcast(common + stride), load(w + row));
    round<kEarly>(s.d, s.a, s.b, s.c, s.h, s.e, s.f, s.g, t + 1, s.w[1], w5);
    const V w6 = exor(broadcast(common + 2 * stride), load(w + 2 * row));
    round<kEarly>(s.c, s.d, s.a, s.b, s.g, s.h, s.e, s.f, t + 2, s.w[2], w6);
    const V w7 = exor(broadcast(common + 3 * stride), load(w + 3 * row));
    round<kEarly>(s.b, s.c, s.d, s.a, s.f, s.g, s.h, s.e, t + 3, s.w[3], w7);
    s.w[0] = w4;
    s.w[1] = w5;
    s.w[2] = w6;
    s.w[3] = w7;
}

void compress_lanes(const std::uint32_t* v, std::uint32_t* result, const std::uint32_t* w, std::size_t row,
                    const std::uint32_t* common, std::size_t stride) noexcept {
    Lanes s{load(v),
            load(v + kLanes),
            load(v + 2 * kLanes),
            load(v + 3 * kLanes),
            load(v + 4 * kLanes),
            load(v + 5 * kLanes),
            load(v + 6 * kLanes),
            load(v + 7 * kLanes),
            {}};
    for (unsigned i = 0; i < 4; ++i) s.w[i] = exor(broadcast(common + i * stride), load(w + i * row));
    for (unsigned j = 0; j < 16; j += 4) four_rounds<true>(s, j, w, row, common, stride);
    for (unsigned j = 16; j < 64; j += 4) four_rounds<false>(s, j, w, row, common, stride);
    store(result, exor(load(v), s.a));
    store(result + kLanes, exor(load(v + kLanes), s.b));
    store(result + 2 * kLanes, exor(load(v + 2 * kLanes), s.c));
    store(result + 3 * kLanes, exor(load(v + 3 * kLanes), s.d));
    store(result + 4 * kLanes, exor(load(v + 4 * kLanes), s.e));
    store(result + 5 * kLanes, exor(load(v + 5 * kLanes), s.f));
    store(result + 6 * kLanes, exor(load(v + 6 * kLanes), s.g));
    store(result + 7 * kLanes, exor(load(v + 7 * kLanes), s.h));
}

void expand_lanes(std::uint32_t* w) noexcept {
    for (std::uint32_t* next = w + 16 * kLanes; next != w + 68 * kLanes; next += kLanes) {
        const V x = exor3(load(next - 16 * kLanes), load(next - 9 * kLanes), rotate<15>(load(next - 3 * kLanes)));
        const V y = exor(rotate<7>(load(next - 13 * kLanes)), load(next - 6 * kLanes));
        store(next, exor3(exor(x, y), rotate<15>(x), rotate<23>(x)));
    }
}
