// Points in Jacobian coordinates: the affine point is (X/Z^2, Y/Z^3), and Z = 0 is infinity. All coordinates are in
// Montgomery form. The steps are ordered so that a result may be the same record as an operand.
#include "base/wipe.hpp"
#include "ec/field.hpp"
#include "ec/mod_words.hpp"

using ulmaro::Wiped;
using ulmaro::ec::Field;

namespace {

/// X and Y keep their contents.
void set_infinity(ec_point_st* r) noexcept {
    r->Z = {};
    r->z_is_one = 0;
}

/// A memberwise copy onto itself would be an overlapping memcpy.
void copy_point(ec_point_st* r, const ec_point_st* a) noexcept {
    if (r != a) *r = *a;
}

/// r = t / 2 for reduced t; if t is odd it becomes t + p, which may need one more word.
void halve(ec_group_st* grp, bignum_st& r, bignum_st& t) noexcept {
    int top = grp->prime_top;
    if ((t.words[0] & 1) != 0) BN_uadd(t.words, &top, t.words, top, grp->prime.words, top);
    BN_rshift(r.words, &top, t.words, top, 1);
}

struct DoubleScratch {
    bignum_st t0, t1, t2, t3;
};

struct AddScratch {
    bignum_st t0, t1, t2, t3, t4, t5, t6;
};

struct AffineScratch {
    bignum_st x, y, z, w;
};

}  // namespace

int ec_GFp_simple_is_at_infinity(ec_group_st* grp, ec_point_st* P) { return Field(*grp).is_zero(P->Z) ? 1 : 0; }

void ec_GFp_simple_dbl(ec_group_st* grp, ec_point_st* r, ec_point_st* a) {
    if (ec_GFp_simple_is_at_infinity(grp, a) != 0) {
        set_infinity(r);
        return;
    }
    const Field f(*grp);
    Wiped<DoubleScratch> scratch;
    auto& [t0, t1, t2, t3] = *scratch;

    // t1 = 3 X^2 + a Z^4
    f.sqr(t0, a->X);
    f.twice(t1, t0);
    f.add(t0, t0, t1);
    if (a->z_is_one != 0) {
        f.add(t1, t0, grp->a_mont);
    } else {
        f.sqr(t1, a->Z);
        f.sqr(t1, t1);
        f.mul(t1, t1, grp->a_mont);
        f.add(t1, t1, t0);
    }

    // Z' = 2 Y Z
    if (a->z_is_one != 0) {
        f.twice(r->Z, a->Y);
    } else {
        f.mul(t0, a->Y, a->Z);
        f.twice(r->Z, t0);
    }
    r->z_is_one = 0;

    // t2 = 4 X Y^2, X' = t1^2 - 2 t2
    f.sqr(t3, a->Y);
    f.mul(t2, a->X, t3);
    f.twice(t2, t2);
    f.twice(t2, t2);
    f.twice(t0, t2);
    f.sqr(r->X, t1);
    f.sub(r->X, r->X, t0);

    // t3 = 8 Y^4, Y' = t1 (t2 - X') - t3
    f.sqr(t0, t3);
    f.twice(t3, t0);
    f.twice(t3, t3);
    f.twice(t3, t3);
    f.sub(t0, t2, r->X);
    f.mul(t0, t1, t0);
    f.sub(r->Y, t0, t3);
}

void ec_GFp_simple_add(ec_group_st* grp, ec_point_st* r, ec_point_st* a, ec_point_st* b) {
    if (a == b) return ec_GFp_simple_dbl(grp, r, a);
    if (ec_GFp_simple_is_at_infinity(grp, a) != 0) return copy_point(r, b);
    if (ec_GFp_simple_is_at_infinity(grp, b) != 0) return copy_point(r, a);

    const Field f(*grp);
    Wiped<AddScratch> scratch;
    auto& [t0, t1, t2, t3, t4, t5, t6] = *scratch;
    t5 = {};  // becomes Z' unchanged if both points are affine, words 8 and 9 included
    const bool a_affine = a->z_is_one != 0;
    const bool b_affine = b->z_is_one != 0;

    // Both points over a common denominator: (t1, t2) from a, (t3, t4) from b.
    if (b_affine) {
        t1 = a->X;
        t2 = a->Y;
    } else {
        f.sqr(t0, b->Z);
        f.mul(t1, a->X, t0);
        f.mul(t0, t0, b->Z);
        f.mul(t2, a->Y, t0);
    }
    if (a_affine) {
        t3 = b->X;
        t4 = b->Y;
    } else {
        f.sqr(t0, a->Z);
        f.mul(t3, b->X, t0);
        f.mul(t0, t0, a->Z);
        f.mul(t4, b->Y, t0);
    }

    const bool x_differ = f.sub(t5, t1, t3);
    const bool y_differ = f.sub(t6, t2, t4);
    if (!x_differ) return y_differ ? set_infinity(r) : ec_GFp_simple_dbl(grp, r, a);
    f.add(t1, t1, t3);
    f.add(t2, t2, t4);

    // Z' = Za Zb t5
    if (a_affine && b_affine) {
        r->Z = t5;
    } else if (a_affine) {
        f.mul(r->Z, b->Z, t5);
    } else if (b_affine) {
        f.mul(r->Z, a->Z, t5);
    } else {
        f.mul(t0, a->Z, b->Z);
        f.mul(r->Z, t0, t5);
    }
    r->z_is_one = 0;

    // X' = t6^2 - t3 with t3 = t1 t5^2
    f.sqr(t0, t6);
    f.sqr(t4, t5);
    f.mul(t3, t1, t4);
    f.sub(r->X, t0, t3);

    // 2 Y' = t6 (t3 - 2 X') - t2 t5^3
    f.twice(t0, r->X);
    f.sub(t0, t3, t0);
    f.mul(t0, t0, t6);
    f.mul(t5, t4, t5);
    f.mul(t1, t2, t5);
    f.sub(t0, t0, t1);
    halve(grp, r->Y, t0);
}

void ec_GFp_simple_point_get_affine_coordinates_GFp(ec_group_st* grp, ec_point_st* P, bignum_st* x, bignum_st* y) {
    const Field f(*grp);
    const int top = grp->prime_top;
    Wiped<AffineScratch> scratch;
    *scratch = {};
    auto& [px, py, z, w] = *scratch;
    f.from_montgomery(px, P->X);
    f.from_montgomery(py, P->Y);
    f.from_montgomery(z, P->Z);
    if (f.is_zero(z)) {
        *x = *y = {};
        return;
    }
    if (BN_is_one(z.words, static_cast<unsigned int>(top)) == 0) {
        ulmaro::ec::inverse_mod(z, z, grp->prime, top);
        ulmaro::ec::mul_mod(w, z, z, grp->prime, top);
        ulmaro::ec::mul_mod(px, px, w, grp->prime, top);
        ulmaro::ec::mul_mod(w, w, z, grp->prime, top);
        ulmaro::ec::mul_mod(py, py, w, grp->prime, top);
    }
    *x = px;
    *y = py;
}
