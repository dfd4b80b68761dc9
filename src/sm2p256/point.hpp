// Points of y^2 = x^3 - 3x + b, and the formulas on them. No formula uses b.
//
// Each formula states its preconditions; nothing branches. Infinity is z = 0 (zz = zzz = 0). F is the field's kernel.
#pragma once

#include "sm2p256/field.hpp"

namespace ulmaro::sm2p256 {

struct Affine {
    Fe x, y;
};

/// x = X / Z^2, y = Y / Z^3.
struct Jacobian {
    Fe x, y, z;
};

/// x = X / ZZ, y = Y / ZZZ with ZZ^3 = ZZZ^2: an addition saves a square, but doubling is not cheap.
struct Extended {
    Fe x, y, zz, zzz;
};

inline constexpr Affine generator = {
    {{0x61328990f418029e, 0x3e7981eddca6c050, 0xd6a1ed99ac24c3c3, 0x91167a5ee1c13b05}},
    {{0xc1354e593c2d0ddd, 0xc1f5e5788d3295fa, 0x8d4cfb066e2a48f8, 0x63cd65d481d735bd}}};

/// Set if the point satisfies the curve equation.
Mask on_curve(const Affine& p) noexcept;

// The sums and the doubling work in place: copying a point just stored limb by limb stalls. Independent products
// stand side by side, as far as the processor sees ahead: two of them.

/// p = 2p, for every p: 4 products, 4 squares, one halving. With S = X Y^2 and L = 3/2 (X - Z^2)(X + Z^2), the
/// tangent's slope times Y Z, the result is X' = L^2 - 2S, Y' = L (S - X') - Y^4, Z' = Y Z: half the usual Z, which
/// saves additions. No point on the curve has Y = 0, because its order is odd.
template <typename F>
void double_point(Jacobian& p) noexcept {
    const Fe zz = F::sqr(p.z);
    const Fe yy = F::sqr(p.y);
    const Fe m = F::mul(F::sub(p.x, zz), F::add(p.x, zz));
    const Fe s = F::mul(p.x, yy);
    const Fe l = F::add(m, F::half(m));
    const Fe z = F::mul(p.y, p.z);
    const Fe ll = F::sqr(l);
    p.z = z;
    p.x = F::sub(ll, F::add(s, s));
    p.y = F::mul_sub_sqr(l, F::sub(s, p.x), yy);
}

/// p = p + q. Needs p != q; p = -q gives infinity. If p is infinity, so is the result.
template <typename F>
void add(Jacobian& p, const Affine& q) noexcept {
    const Fe zz = F::sqr(p.z);
    const Fe qx = F::mul(q.x, zz);
    const Fe zzz = F::mul(zz, p.z);
    const Fe h = F::sub(qx, p.x);
    const Fe qy = F::mul(q.y, zzz);
    const Fe hh = F::sqr(h);
    const Fe t = F::sub(qy, p.y);
    const Fe v = F::mul(p.x, hh);
    const Fe hhh = F::mul(h, hh);
    const Fe tt = F::sqr(t);
    p.z = F::mul(p.z, h);
    p.x = F::sub(F::sub(F::sub(tt, hhh), v), v);
    p.y = F::mul_sub(t, F::sub(v, p.x), p.y, hhh);
}

/// As above, with one fewer square.
template <typename F>
void add(Extended& p, const Affine& q) noexcept {
    const Fe qx = F::mul(q.x, p.zz);
    const Fe qy = F::mul(q.y, p.zzz);
    const Fe h = F::sub(qx, p.x);
    const Fe hh = F::sqr(h);
    const Fe t = F::sub(qy, p.y);
    const Fe hhh = F::mul(h, hh);
    const Fe v = F::mul(p.x, hh);
    const Fe tt = F::sqr(t);
    p.zz = F::mul(p.zz, hh);
    p.zzz = F::mul(p.zzz, hhh);
    p.x = F::sub(F::sub(F::sub(tt, hhh), v), v);
    p.y = F::mul_sub(t, F::sub(v, p.x), p.y, hhh);
}

// What runs once per multiplication stays out of line: inlined, it takes registers from the nearby loop.

/// Set if p and q, both finite, are the same point: the case the sums above do not cover.
template <typename F>
[[gnu::noinline]] Mask same(const Jacobian& p, const Affine& q) noexcept {
    const Fe zz = F::sqr(p.z);
    return equal(F::mul(q.x, zz).w, p.x.w) & equal(F::mul(q.y, F::mul(zz, p.z)).w, p.y.w);
}

template <typename F>
[[gnu::noinline]] Mask same(const Extended& p, const Affine& q) noexcept {
    return equal(F::mul(q.x, p.zz).w, p.x.w) & equal(F::mul(q.y, p.zzz).w, p.y.w);
}

inline Jacobian jacobian(const Affine& p) noexcept { return {p.x, p.y, fe_one}; }
inline Extended extended(const Affine& p) noexcept { return {p.x, p.y, fe_one, fe_one}; }

/// r = p if the mask is set, else unchanged.
inline void assign_if(Mask mask, Affine& r, const Affine& p) noexcept {
    assign_if(mask, r.x, p.x);
    assign_if(mask, r.y, p.y);
}

inline void assign_if(Mask mask, Jacobian& r, const Jacobian& p) noexcept {
    assign_if(mask, r.x, p.x);
    assign_if(mask, r.y, p.y);
    assign_if(mask, r.z, p.z);
}

inline void assign_if(Mask mask, Extended& r, const Extended& p) noexcept {
    assign_if(mask, r.x, p.x);
    assign_if(mask, r.y, p.y);
    assign_if(mask, r.zz, p.zz);
    assign_if(mask, r.zzz, p.zzz);
}

/// The affine coordinates from i, the inverse of z.
template <typename F>
Affine affine(const Jacobian& p, const Fe& i) noexcept {
    const Fe ii = F::sqr(i);
    return {F::mul(p.x, ii), F::mul(p.y, F::mul(ii, i))};
}

/// The same from iii, the inverse of zzz.
template <typename F>
Affine affine(const Extended& p, const Fe& iii) noexcept {
    const Fe i = F::mul(p.zz, iii);
    return {F::mul(p.x, F::sqr(i)), F::mul(p.y, iii)};
}

/// The affine coordinates, or zeros for infinity, when it returns a set mask.
template <typename F>
[[gnu::noinline]] Mask to_affine(Affine& r, const Jacobian& p) noexcept {
    r = affine<F>(p, fe_invert(p.z));
    return is_zero(p.z.w);
}

template <typename F>
[[gnu::noinline]] Mask to_affine(Affine& r, const Extended& p) noexcept {
    r = affine<F>(p, fe_invert(p.zzz));
    return is_zero(p.zzz.w);
}

/// The same for two points that are infinity together or not at all, with a single inversion.
template <typename F>
[[gnu::noinline]] Mask to_affine(Affine& r, const Extended& p, Affine& s, const Jacobian& q) noexcept {
    const Fe inverse = fe_invert(F::mul(p.zzz, q.z));
    r = affine<F>(p, F::mul(inverse, q.z));
    s = affine<F>(q, F::mul(inverse, p.zzz));
    return is_zero(q.z.w);
}

}  // namespace ulmaro::sm2p256
