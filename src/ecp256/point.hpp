// Points of y^2 = x^3 + a x + b over a prime field below 2^256, and the formulas on them. No formula uses b, so a point
// off the curve has multiples too: on the curve with the same a that it does lie on.
//
// Coordinates are in Montgomery form; infinity is z = 0. R is the Residues of one kernel.
#pragma once

#include "ecp256/curve.hpp"

namespace ulmaro::ecp256 {

/// x = X / Z^2, y = Y / Z^3.
struct Jacobian {
    U256 x, y, z;
};

/// A point added more than once, with z^2 and z^3.
struct Multiple {
    U256 x, y, z, zz, zzz;
};

template <typename R>
Multiple multiple(const R& f, const Jacobian& p) noexcept {
    const U256 zz = f.sqr(p.z);
    return {p.x, p.y, p.z, zz, f.mul(zz, p.z)};
}

inline Jacobian jacobian(const Multiple& p) noexcept { return {p.x, p.y, p.z}; }

inline void assign_if(Mask mask, U256& r, const U256& a) noexcept { u256::assign_if(mask, r.w, a.w); }

/// r = p if the mask is set, else unchanged.
inline void assign_if(Mask mask, Jacobian& r, const Jacobian& p) noexcept {
    assign_if(mask, r.x, p.x);
    assign_if(mask, r.y, p.y);
    assign_if(mask, r.z, p.z);
}

inline void assign_if(Mask mask, Multiple& r, const Multiple& p) noexcept {
    assign_if(mask, r.x, p.x);
    assign_if(mask, r.y, p.y);
    assign_if(mask, r.z, p.z);
    assign_if(mask, r.zz, p.zz);
    assign_if(mask, r.zzz, p.zzz);
}

/// p = 2^n p for n >= 1; a point with y = 0 doubles to infinity, which stays. With S = X Y^2, W = a Z^4 and
/// L = (3 X^2 + W) / 2, the tangent's slope times Y Z, a doubling is X' = L^2 - 2S, Y' = L (S - X') - Y^4, Z' = Y Z and
/// W' = W Y^4: W costs one product from the second doubling on.
template <typename R>
[[gnu::noinline]] void double_times(const R& f, const U256& a, Jacobian& p, int n) noexcept {
    const typename R::Called called(f);
    U256 w = called.mul(a, called.sqr(called.sqr(p.z)));
    for (;;) {
        const U256 yy = f.sqr(p.y);
        const U256 xx = f.sqr(p.x);
        const U256 s = f.mul(p.x, yy);
        const U256 l = f.half(f.add(f.add(f.add(xx, xx), xx), w));
        const U256 z = f.mul(p.y, p.z);
        const U256 ll = f.sqr(l);
        p.z = z;
        p.x = f.sub(ll, f.add(s, s));
        if (--n == 0) {
            p.y = f.mul_sub_sqr(l, f.sub(s, p.x), yy);
            return;
        }
        const U256 yyyy = f.sqr(yy);
        p.y = f.sub(f.mul(l, f.sub(s, p.x)), yyyy);
        w = f.mul(w, yyyy);
    }
}

/// p = p + q for distinct points; opposite ones give infinity. Infinity in p or q gives infinity. Equal points give
/// x = z = 0; points that share only x give z = 0 and x != 0.
template <typename R>
void add(const R& f, Jacobian& p, const Multiple& q) noexcept {
    const U256 zz = f.sqr(p.z);
    const U256 px = f.mul(p.x, q.zz);
    const U256 qx = f.mul(q.x, zz);
    const U256 zzz = f.mul(zz, p.z);
    const U256 h = f.sub(qx, px);
    const U256 py = f.mul(p.y, q.zzz);
    const U256 qy = f.mul(q.y, zzz);
    const U256 hh = f.sqr(h);
    const U256 z = f.mul(p.z, q.z);
    const U256 t = f.sub(qy, py);
    const U256 hhh = f.mul(h, hh);
    const U256 v = f.mul(px, hh);
    const U256 tt = f.sqr(t);
    p.z = f.mul(z, h);
    p.x = f.sub(f.sub(f.sub(tt, hhh), v), v);
    p.y = f.mul_sub(t, f.sub(v, p.x), py, hhh);
}

}  // namespace ulmaro::ecp256
