#include "ec/multiply.hpp"

#include <algorithm>

#include "base/declassify.hpp"
#include "base/wipe.hpp"
#include "bn/bytes.hpp"
#include "ec/field.hpp"
#include "ec/limbs.hpp"
#include "ec/recommended_curve.hpp"
#include "ecp256/engine.hpp"
#include "sm2p256/engine.hpp"

namespace ulmaro::ec {
namespace {

ec_point_st to_jacobian(ec_group_st& grp, AffinePoint& point) noexcept {
    const Field f(grp);
    ec_point_st out = {};
    f.to_montgomery(out.X, point.x);
    f.to_montgomery(out.Y, point.y);
    std::copy_n(grp.mont_one.words, grp.prime_top, out.Z.words);
    out.z_is_one = 1;
    return out;
}

/// out = [k]P + [l]Q by the exported routines, with Q and l both null for one term; false for infinity.
bool multiply_any(ec_group_st& grp, ec_point_st& P, bignum_st& k, ec_point_st* Q, bignum_st* l,
                  AffinePoint& out) noexcept {
    Wiped<ec_point_st> sum;
    *sum = {};  // infinity: a product by zero writes nothing
    EC_POINTs_mul(&grp, &*sum, &P, &k, Q, l);
    ec_GFp_simple_point_get_affine_coordinates_GFp(&grp, &*sum, &out.x, &out.y);
    return ec_GFp_simple_is_at_infinity(&grp, &*sum) == 0;
}

ecp256::Affine affine(const ec_point_st& point) noexcept { return {limbs(point.X.words), limbs(point.Y.words)}; }

/// out = [k]P for P with z_is_one; false for infinity.
bool multiply(ec_group_st& grp, ec_point_st& P, bignum_st& k, AffinePoint& out) noexcept {
    if (fits_limbs(grp)) {
        const auto outcome = with_wiped_stack(512, [&] {
            ecp256::Affine product;
            const auto result = ecp256::multiply_point(curve_of(grp), affine(P), limbs(k.words), product);
            from_limbs(out.x, product.x);
            from_limbs(out.y, product.y);
            return result;
        });
        const bool exception = declassify(outcome == ecp256::Outcome::exception, Public::multiple_exceptional);
        if (!exception) return outcome == ecp256::Outcome::finite;
    }
    return with_wiped_stack(5120, [&] { return multiply_any(grp, P, k, nullptr, nullptr, out); });
}

/// A point or a scalar on its way to or from the recommended curve's engine.
struct Bytes32 {
    std::uint8_t b[32];
};

struct PointBytes {
    Bytes32 x, y;

    explicit PointBytes(const AffinePoint& point) noexcept {
        bn::to_be32(x.b, point.x.words);
        bn::to_be32(y.b, point.y.words);
    }
};

void load(AffinePoint& out, const Bytes32& x, const Bytes32& y) noexcept {
    bn::from_be32(out.x, x.b);
    bn::from_be32(out.y, y.b);
}

struct MultiplyScratch {
    Bytes32 k, x, y;
};

}  // namespace

AffinePoint load_point(const unsigned char* xy) noexcept {
    AffinePoint point;
    bn::from_be32(point.x, xy);
    bn::from_be32(point.y, xy + 32);
    return point;
}

void store_point(unsigned char* xy, const AffinePoint& point) noexcept {
    bn::to_be32(xy, point.x.words);
    bn::to_be32(xy + 32, point.y.words);
}

bool is_on_curve(ec_group_st& grp, AffinePoint& point) noexcept {
    if (is_recommended(grp)) {
        const PointBytes bytes(point);
        return sm2p256::is_on_curve(bytes.x.b, bytes.y.b);
    }
    const Field f(grp);
    bignum_st x = {}, y = {}, rhs = {};
    f.to_montgomery(x, point.x);
    f.to_montgomery(y, point.y);
    f.sqr(rhs, x);
    f.add(rhs, rhs, grp.a_mont);
    f.mul(rhs, rhs, x);
    f.add(rhs, rhs, grp.b_mont);
    f.sqr(y, y);
    return f.equal(y, rhs);
}

bool multiply_base(ec_group_st& grp, bignum_st& k, AffinePoint& out) noexcept {
    if (!is_recommended(grp)) return multiply(grp, grp.generator, k, out);
    Wiped<MultiplyScratch> scratch;
    bn::to_be32(scratch->k.b, k.words);
    const bool finite = sm2p256::multiply_base(scratch->x.b, scratch->y.b, scratch->k.b);
    load(out, scratch->x, scratch->y);
    return finite;
}

bool multiply_point(ec_group_st& grp, AffinePoint& point, bignum_st& k, AffinePoint& out) noexcept {
    if (!is_recommended(grp) || !is_on_curve(grp, point)) {
        ec_point_st P = to_jacobian(grp, point);
        return multiply(grp, P, k, out);
    }
    const PointBytes bytes(point);
    Wiped<MultiplyScratch> scratch;
    bn::to_be32(scratch->k.b, k.words);
    const bool finite = sm2p256::multiply_point(scratch->x.b, scratch->y.b, bytes.x.b, bytes.y.b, scratch->k.b);
    load(out, scratch->x, scratch->y);
    return finite;
}

bool multiply_base_and_point(ec_group_st& grp, AffinePoint& point, bignum_st& k, AffinePoint& base,
                             AffinePoint& out) noexcept {
    if (!is_recommended(grp) || !is_on_curve(grp, point)) {
        multiply_base(grp, k, base);
        return multiply_point(grp, point, k, out);
    }
    const PointBytes bytes(point);
    Wiped<MultiplyScratch> scratch;
    Bytes32 x, y;
    bn::to_be32(scratch->k.b, k.words);
    const bool finite =
        sm2p256::multiply_base_and_point(x.b, y.b, scratch->x.b, scratch->y.b, bytes.x.b, bytes.y.b, scratch->k.b);
    load(base, x, y);
    load(out, scratch->x, scratch->y);
    return finite;
}

bool multiply_both_vartime(ec_group_st& grp, bignum_st& s, AffinePoint& point, bool on_curve, bignum_st& t,
                           AffinePoint& out) noexcept {
    ec_point_st P = to_jacobian(grp, point);
    if (on_curve && fits_limbs(grp)) {
        ecp256::Affine sum;
        const auto outcome = ecp256::multiply_both_vartime(curve_of(grp), affine(grp.generator), limbs(s.words),
                                                           affine(P), limbs(t.words), sum);
        from_limbs(out.x, sum.x);
        from_limbs(out.y, sum.y);
        if (outcome != ecp256::Outcome::exception) return outcome == ecp256::Outcome::finite;
    }
    return multiply_any(grp, grp.generator, s, &P, &t, out);
}

}  // namespace ulmaro::ec
