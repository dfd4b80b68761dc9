// Arithmetic modulo an odd number m below 2^256 known only at run time, in Montgomery form: a is kept as
// a * 2^256 mod m. Every function takes and returns numbers below m unless it says otherwise. Constant-time.
#pragma once

#include "u256/divsteps.hpp"
#include "u256/product.hpp"

namespace ulmaro::u256 {

struct Modulus {
    U256 m;
    std::uint64_t minus_inverse;  // -1 / m modulo 2^64
};

/// For odd m. Newton's iteration: m is its own inverse modulo 8, and every step doubles the bits.
constexpr Modulus modulus(const U256& m) noexcept {
    std::uint64_t inverse = m.w[0];
    for (int bits = 3; bits < 64; bits *= 2) inverse *= 2 - m.w[0] * inverse;
    return {m, 0 - inverse};
}

/// For inversions modulo m: r = factor / a.
constexpr InversionModulus inversion_modulus(const Modulus& modulus, const U256& factor) noexcept {
    return {to_signed60(modulus.m.w), (0 - modulus.minus_inverse) & ((std::uint64_t{1} << 60) - 1),
            to_signed60(factor.w)};
}

/// The arithmetic for any architecture, out of line: inlined into point formulas it makes five times the code, with
/// frames of kilobytes.
class PortableResidues {
public:
    using Called = PortableResidues;

    explicit PortableResidues(const Modulus& modulus) noexcept : m_(modulus) {}

    // As in Residues.
    U256 mul(const U256& a, const U256& b) const noexcept;
    U256 sqr(const U256& a) const noexcept { return mul(a, a); }
    U256 mul_sub(const U256& a, const U256& b, const U256& c, const U256& d) const noexcept;
    U256 mul_sub_sqr(const U256& a, const U256& b, const U256& c) const noexcept { return mul_sub(a, b, c, c); }
    U256 add(const U256& a, const U256& b) const noexcept;
    U256 sub(const U256& a, const U256& b) const noexcept;
    U256 half(const U256& a) const noexcept;
    U256 negated_if(Mask mask, const U256& a) const noexcept;

private:
    const Modulus& m_;
};

/// R with an out-of-line product and square, for formulas that run too rarely to be worth inlining.
template <typename R>
struct WithCalls : R {
    explicit WithCalls(const R& inlined) noexcept : R(inlined) {}
    [[gnu::noinline]] U256 mul(const U256& a, const U256& b) const noexcept { return R::mul(a, b); }
    [[gnu::noinline]] U256 sqr(const U256& a) const noexcept { return R::sqr(a); }
};

/// The arithmetic inlined, with the carry chains of one architecture.
template <typename Chains>
class Residues {
public:
    using Called = WithCalls<Residues>;

    explicit Residues(const Modulus& modulus) noexcept : m_(modulus) {}

    /// a b / 2^256. Needs only a b < 2^256 m; above that, the result is below 2^256 and may be m or more.
    [[gnu::always_inline]] U256 mul(const U256& a, const U256& b) const noexcept {
        return reduce(Chains::product(a.w, b.w));
    }

    [[gnu::always_inline]] U256 sqr(const U256& a) const noexcept { return reduce(Chains::square(a.w)); }

    /// a / 2^256, for any a.
    [[gnu::always_inline]] U256 reduced(const U256& a) const noexcept {
        return reduce({a.w[0], a.w[1], a.w[2], a.w[3], 0, 0, 0, 0});
    }

    /// a b - c d, and a b - c^2.
    [[gnu::always_inline]] U256 mul_sub(const U256& a, const U256& b, const U256& c, const U256& d) const noexcept {
        const Product cd = Chains::product(c.w, d.w);
        return reduce(Chains::difference(Chains::product(a.w, b.w), cd, m_.m.w));
    }

    [[gnu::always_inline]] U256 mul_sub_sqr(const U256& a, const U256& b, const U256& c) const noexcept {
        const Product cc = Chains::square(c.w);
        return reduce(Chains::difference(Chains::product(a.w, b.w), cc, m_.m.w));
    }

    [[gnu::always_inline]] U256 add(const U256& a, const U256& b) const noexcept { return Chains::sum(a, b, m_.m.w); }
    [[gnu::always_inline]] U256 sub(const U256& a, const U256& b) const noexcept { return Chains::sub(a, b, m_.m.w); }
    [[gnu::always_inline]] U256 half(const U256& a) const noexcept { return Chains::half(a, m_.m.w); }

    /// -a if the mask is set, else a.
    U256 negated_if(Mask mask, const U256& a) const noexcept {
        U256 r = a;
        const U256 negative = sub({}, a);
        assign_if(mask, r.w, negative.w);
        return r;
    }

private:
    /// t / 2^256 for t < 2^256 m. Each row clears a limb of the lower half by adding a multiple of m, whose carry takes
    /// its place; the carries stay below 2^256, because t's lower half plus (2^256 - 1) m is below 2^512.
    [[gnu::always_inline]] U256 reduce(Product t) const noexcept {
        std::uint64_t c0, c1, c2, c3;
        Chains::row(t.t0, t.t1, t.t2, t.t3, c0, m_.m.w, t.t0 * m_.minus_inverse);
        Chains::row(t.t1, t.t2, t.t3, c0, c1, m_.m.w, t.t1 * m_.minus_inverse);
        Chains::row(t.t2, t.t3, c0, c1, c2, m_.m.w, t.t2 * m_.minus_inverse);
        Chains::row(t.t3, c0, c1, c2, c3, m_.m.w, t.t3 * m_.minus_inverse);
        return Chains::sum({{t.t4, t.t5, t.t6, t.t7}}, {{c0, c1, c2, c3}}, m_.m.w);
    }

    const Modulus& m_;
};

}  // namespace ulmaro::u256
