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

struct Group {
    ECCParameter_st param;
    ec_group_st grp;
    Points curve;
    Integer b, n, R;
    Point G;
    mutable std::vector<Point> doubles;  // 2^i G, as far as needed so far

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
    /// In Montgomery form, with noise in the words above.
    bignum_st form(const Integer& a) const {
        bignum_st r = record_of<bignum_st>(mod(a * R, curve.p));
        for (int i = grp.prime_top; i < 10; ++i) r.words[i] = 0xc5c5c5c5;
        return r;
    }

    bool contains(const Point& A) const {
        return curve.p != 0 && mod(A.x * A.x * A.x + curve.a * A.x + b - A.y * A.y, curve.p) == 0;
    }
    Point multiple(const Integer& k) const {
        if (doubles.empty()) doubles.push_back(G);
        Point r = infinity;
        for (std::size_t i = 0; i < mpz_sizeinbase(k.get_mpz_t(), 2); ++i) {
            if (i == doubles.size()) doubles.push_back(curve.sum(doubles.back(), doubles.back()));
            if (mpz_tstbit(k.get_mpz_t(), i) != 0) r = curve.sum(r, doubles[i]);
        }
        return r;
    }
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

/// The scalar, with noise in the words above the order's.
inline bignum_st scalar_of(const Integer& k, const Group& group) {
    bignum_st r = record_of<bignum_st>(k);
    for (int i = group.grp.order_top; i < 10; ++i) r.words[i] = 0xffffffff;
    return r;
}

}  // namespace ulmaro::fuzz
