// The S-box of SM4 as logic on bit planes, for as many bytes side by side as a word W has bits: no look-up, no branch.
//
// The S-box is an inversion in GF(2^8) between two affine maps (sm4/kernels/basis.hpp). Here the field is a tower of
// quadratic extensions, in which an inversion reduces to one in the field below and a few products:
//     GF(2^2) = GF(2)[w]   / (w^2 + w + 1)
//     GF(2^4) = GF(2^2)[z] / (z^2 + z + w)
//     GF(2^8) = GF(2^4)[y] / (y^2 + y + w z)
// For u = h y + l and d = w z h^2 + h l + l^2 the inverse is h d^-1 y + (h + l) d^-1, and likewise one level below;
// 0 goes to 0. The maps into and out of the tower are found by the compiler and folded into the affine maps.
#pragma once

#include <cstddef>
#include <cstdint>
#include <utility>

#include "sm4/constants.hpp"
#include "sm4/kernels/basis.hpp"

namespace ulmaro::sm4 {
namespace {

/// Bit i of every byte in plane[i].
template <typename W>
struct Planes {
    W plane[8];
};

namespace tower {

/// An element of an extension of the field of T: hi times the generator, plus lo.
template <typename T>
struct Pair {
    T hi, lo;
};

template <typename W>
using F4 = Pair<W>;
template <typename W>
using F16 = Pair<F4<W>>;
template <typename W>
using F256 = Pair<F16<W>>;

template <typename W>
constexpr W add(W a, W b) {
    return a ^ b;
}
template <typename T>
constexpr Pair<T> add(const Pair<T>& a, const Pair<T>& b) {
    return {add(a.hi, b.hi), add(a.lo, b.lo)};
}

/// Times the constant that the extension above is made with: 1, w, w z.
template <typename W>
constexpr W scale(W a) {
    return a;
}
template <typename W>
constexpr F4<W> scale(const F4<W>& a) {
    return {add(a.hi, a.lo), a.hi};
}
template <typename W>
constexpr F16<W> scale(const F16<W>& a) {
    return {scale(add(a.hi, a.lo)), scale(scale(a.hi))};
}

template <typename W>
constexpr W mul(W a, W b) {
    return a & b;
}
template <typename T>
constexpr Pair<T> mul(const Pair<T>& a, const Pair<T>& b) {
    const T low = mul(a.lo, b.lo);
    return {add(mul(add(a.hi, a.lo), add(b.hi, b.lo)), low), add(low, scale(mul(a.hi, b.hi)))};
}

template <typename W>
constexpr W sqr(W a) {
    return a;
}
template <typename T>
constexpr Pair<T> sqr(const Pair<T>& a) {
    const T high = sqr(a.hi);
    return {high, add(sqr(a.lo), scale(high))};
}

template <typename W>
constexpr W invert(W a) {
    return a;
}
template <typename T>
constexpr Pair<T> invert(const Pair<T>& a) {
    const T sum = add(a.hi, a.lo);
    const T d = invert(add(scale(sqr(a.hi)), mul(a.lo, sum)));
    return {mul(a.hi, d), mul(sum, d)};
}

template <typename W>
constexpr F256<W> element(const Planes<W>& p) {
    return {{{p.plane[7], p.plane[6]}, {p.plane[5], p.plane[4]}}, {{p.plane[3], p.plane[2]}, {p.plane[1], p.plane[0]}}};
}
template <typename W>
constexpr Planes<W> planes(const F256<W>& a) {
    return {{a.lo.lo.lo, a.lo.lo.hi, a.lo.hi.lo, a.lo.hi.hi, a.hi.lo.lo, a.hi.lo.hi, a.hi.hi.lo, a.hi.hi.hi}};
}

/// One byte, each of its bits a plane of its own.
constexpr Planes<std::uint8_t> spread(unsigned x) {
    Planes<std::uint8_t> p{};
    for (unsigned i = 0; i < 8; ++i) p.plane[i] = static_cast<std::uint8_t>(x >> i & 1);
    return p;
}
constexpr unsigned collect(const Planes<std::uint8_t>& p) {
    unsigned x = 0;
    for (unsigned i = 0; i < 8; ++i) x |= (p.plane[i] & 1u) << i;
    return x;
}

/// The value at r of the polynomial over GF(2) whose coefficients are the bits of p, in the tower.
constexpr unsigned evaluate(unsigned p, unsigned r) {
    const auto root = element(spread(r));
    auto value = element(spread(0));
    for (int j = 8; j >= 0; --j) value = add(mul(value, root), element(spread(p >> j & 1)));
    return collect(planes(value));
}

inline constexpr basis::ByteMap isomorphism = [] {
    unsigned root = 2;
    while (evaluate(0x1f5, root) != 0) ++root;
    return basis::affine([=](unsigned x) { return evaluate(x, root); });
}();
inline constexpr basis::ByteMap undo_isomorphism = basis::inverse(isomorphism);

inline constexpr basis::ByteMap enter = basis::affine([](unsigned x) { return isomorphism(basis::sm4_affine(x)); });
inline constexpr basis::ByteMap leave =
    basis::affine([](unsigned x) { return basis::sm4_affine(undo_isomorphism(x)); });

template <const basis::ByteMap& map, unsigned i, typename W, std::size_t... j>
constexpr W output_bit(const Planes<W>& in, std::index_sequence<j...>) {
    W sum = in.plane[0] ^ in.plane[0];
    ((sum = (map.image[j] >> i & 1) != 0 ? static_cast<W>(sum ^ in.plane[j]) : sum), ...);
    return (map.constant >> i & 1) != 0 ? static_cast<W>(~sum) : sum;
}

template <const basis::ByteMap& map, typename W, std::size_t... i>
constexpr Planes<W> apply(const Planes<W>& in, std::index_sequence<i...>) {
    return {{output_bit<map, i>(in, std::make_index_sequence<8>{})...}};
}

}  // namespace tower

template <typename W>
[[gnu::always_inline]] constexpr Planes<W> substitute_planes(const Planes<W>& in) {
    constexpr auto bits = std::make_index_sequence<8>{};
    return tower::apply<tower::leave>(
        tower::planes(tower::invert(tower::element(tower::apply<tower::enter>(in, bits)))), bits);
}

static_assert([] {
    for (unsigned x = 0; x < 256; ++x)
        if (tower::collect(substitute_planes(tower::spread(x))) != SBOX[x]) return false;
    return true;
}());

}  // namespace
}  // namespace ulmaro::sm4
