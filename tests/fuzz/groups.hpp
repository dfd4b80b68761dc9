// Prepared groups with their numbers, and scalars worth trying.
#pragma once

#include "UlmaroAlgrithmInternals.hpp"
#include "fuzz/fuzz.hpp"
#include "support/curves.hpp"
#include "support/points.hpp"

namespace ulmaro::fuzz {

/// A number below 2^256: any, or one near an edge.
inline Integer take_number(Data& data, const Integer& m) {
    if (data.flip()) return from_be(data.take(32));
    return mod(data.one_of(edges(m)) + data.between(-20, 20), power_of_two(256));
}

/// Leaves no zeros on the stack below, which would hide an uninitialised variable.
[[gnu::noinline]] inline void soil_stack() {
    volatile unsigned char used[8192];
    for (auto& byte : used) byte = 0xa7;
}

struct Group {
    ECCParameter_st param;
    ec_group_st grp;
    Points curve;
    Integer b, n, R;
    Point G;

    explicit Group(const ECCParameter_st& block) : param(block) {
        std::memset(&grp, 0x55, sizeof grp);
        require(SM2_ECC_InitParameter(&param, &grp) == 0, "a group returns");
        curve.p = value_of(grp.prime);
        n = value_of(grp.order);
        R = power_of_two(static_cast<unsigned>(32 * grp.prime_top));
        if (!prepared()) return;
        curve.a = plain(grp.a_mont), b = plain(grp.b_mont);
        G = {plain(grp.generator.X), plain(grp.generator.Y)};
    }

    /// Whether the order is prime and the base point's.
    bool sound() const { return is_prime(n) && multiple(n) == infinity; }
    bool prepared() const { return mpz_odd_p(curve.p.get_mpz_t()) != 0 && n != 0; }

    Integer plain(const bignum_st& a) const {
        return mod(value_of(a, static_cast<std::size_t>(grp.prime_top)) * inverse(R, curve.p), curve.p);
    }
    /// In Montgomery form, and a scalar, both with noise in the words above.
    bignum_st form(const Integer& a) const { return below_noise(mod(a * R, curve.p), grp.prime_top); }
    bignum_st scalar(const Integer& k) const { return below_noise(k, grp.order_top); }
    static bignum_st below_noise(const Integer& a, int top) {
        bignum_st r = record_of<bignum_st>(a);
        std::fill(r.words + top, std::end(r.words), 0xc5c5c5c5);
        return r;
    }

    bool contains(const Point& A) const {
        return curve.p != 0 && mod(A.x * A.x * A.x + curve.a * A.x + b - A.y * A.y, curve.p) == 0;
    }
    Point multiple(const Integer& k) const { return curve.multiple(k, G); }
    Point multiple(const Integer& s, const Integer& t, const Point& A) const {
        return curve.sum(multiple(s), curve.multiple(t, A));
    }
};

/// One per named curve; the first seven have prime order, and the seventh is the first again, on the general engine.
inline std::vector<Group>& groups() {
    static std::vector<Group> all = [] {
        std::vector<Group> list;
        for (const Curve& curve : known_curves) list.emplace_back(parameters(curve));
        list.insert(list.begin() + 6, Group(list[0]))->grp.generator.z_is_one = 2;  // reads the same
        return list;
    }();
    return all;
}

}  // namespace ulmaro::fuzz
