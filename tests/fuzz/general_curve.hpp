// Multiples of points by the exported general routines: what every faster path must agree with.
#pragma once

#include "UlmaroAlgrithmInternals.hpp"
#include "fuzz/integers.hpp"

namespace ulmaro::fuzz {

/// A prepared group and its numbers. Points are 64 bytes, x || y; zeros stand for infinity in results.
struct GeneralCurve {
    ECCParameter_st param;
    ec_group_st grp;
    Integer p, n;

    explicit GeneralCurve(const ECCParameter_st& block) : param(block), p(from_be(block.p)), n(from_be(block.n)) {
        SM2_ECC_InitParameter(&param, &grp);
    }

    ec_point_st jacobian(std::span<const unsigned char> xy) {
        ec_point_st P = {};
        const auto coordinate = [&](bignum_st& r, std::span<const unsigned char> be) {
            bignum_st plain;
            bn::from_be32(plain, be.data());
            BN_mod_mul_montgomery(r.words, plain.words, grp.rr, grp.prime.words, grp.prime_top, grp.nprime);
        };
        coordinate(P.X, xy.first(32));
        coordinate(P.Y, xy.last(32));
        P.Z = grp.mont_one;
        P.z_is_one = 1;
        return P;
    }

    Bytes affine(ec_point_st P) {
        bignum_st x, y;
        ec_GFp_simple_point_get_affine_coordinates_GFp(&grp, &P, &x, &y);
        Bytes xy(64);
        bn::to_be32(xy.data(), x.words);
        bn::to_be32(xy.data() + 32, y.words);
        return xy;
    }

    /// [k]P, with whatever Z it comes out.
    ec_point_st multiple(const Integer& k, ec_point_st P) {
        ec_point_st r = {};
        bignum_st scalar = words_of(k);
        EC_POINTs_mul(&grp, &r, &P, &scalar, nullptr, nullptr);
        return r;
    }

    Bytes multiply(const Integer& k) { return affine(multiple(k, grp.generator)); }
    Bytes multiply(const Integer& k, const Bytes& xy) { return affine(multiple(k, jacobian(xy))); }

    /// [s]G + [t]P.
    ec_point_st sum(const Integer& s, const Bytes& xy, const Integer& t) {
        ec_point_st r = {}, P = jacobian(xy);
        bignum_st first = words_of(s), second = words_of(t);
        EC_POINTs_mul(&grp, &r, &grp.generator, &first, &P, &second);
        return r;
    }
    Bytes multiply_add(const Integer& s, const Bytes& xy, const Integer& t) { return affine(sum(s, xy, t)); }
};

inline Integer x_of(std::span<const unsigned char> xy) { return from_be(xy.first(32)); }

}  // namespace ulmaro::fuzz
