// Every sum, double and multiple on a curve small enough to try them all, against affine arithmetic on plain integers.
#include <gtest/gtest.h>

#include <cstring>
#include <optional>
#include <utility>
#include <vector>

#include "UlmaroAlgrithmInternals.hpp"
#include "support/bytes.hpp"

namespace ulmaro::test {
namespace {

constexpr unsigned int kP = 67, kA = 11, kB = 19;

/// No value: infinity.
using Point = std::optional<std::pair<unsigned int, unsigned int>>;

unsigned int inverse(unsigned int x) {
    unsigned int r = 1;
    for (unsigned int i = 0; i < kP - 2; ++i) r = r * x % kP;
    return r;
}

Point negated(const Point& a) { return a ? Point({a->first, (kP - a->second) % kP}) : a; }

Point sum(const Point& a, const Point& b) {
    if (!a) return b;
    if (!b) return a;
    if (a == negated(b)) return {};
    const auto [x1, y1] = *a;
    const auto [x2, y2] = *b;
    const unsigned int slope =
        a == b ? (3 * x1 * x1 + kA) * inverse(2 * y1 % kP) % kP : (kP + y2 - y1) * inverse((kP + x2 - x1) % kP) % kP;
    const unsigned int x = (slope * slope + 2 * kP - x1 - x2) % kP;
    return Point({x, (slope * (kP + x1 - x) + kP - y1) % kP});
}

Point multiple(unsigned int k, const Point& a) {
    Point r;
    for (unsigned int i = 0; i < k; ++i) r = sum(r, a);
    return r;
}

std::vector<Point> all_points() {
    std::vector<Point> points = {Point{}};
    for (unsigned int x = 0; x < kP; ++x) {
        for (unsigned int y = 0; y < kP; ++y) {
            if (y * y % kP == (x * x * x + kA * x + kB) % kP) points.push_back({{x, y}});
        }
    }
    return points;
}

ec_group_st small_group() {
    ECCParameter_st param = {};
    param.p[31] = kP;
    param.a[31] = kA;
    param.b[31] = kB;
    param.n[30] = 1;  // room for scalars of nine bits
    param.n[31] = 1;
    ec_group_st grp;
    ECC_InitParameter(&param, &grp);
    return grp;
}

unsigned int montgomery(unsigned int v) { return static_cast<unsigned int>((std::uint64_t{v % kP} << 32) % kP); }

/// (X, Y) over Z = z; every word that does not belong to the value is a canary.
ec_point_st jacobian(const Point& a, unsigned int z) {
    ec_point_st r;
    std::memset(&r, 0xc5, sizeof r);
    r.X.words[0] = montgomery(a ? a->first * z * z : 5);
    r.Y.words[0] = montgomery(a ? a->second * z * z % kP * z : 6);
    r.Z.words[0] = a ? montgomery(z) : 0;
    r.z_is_one = a && z == 1 ? 1 : 0;
    return r;
}

Point affine(ec_group_st& grp, const ec_point_st& P) {
    ec_point_st copy = P;
    bignum_st x, y;
    ec_GFp_simple_point_get_affine_coordinates_GFp(&grp, &copy, &x, &y);
    const bignum_st zero = {};
    EXPECT_EQ(std::memcmp(x.words + 1, zero.words, 36), 0);
    EXPECT_EQ(std::memcmp(y.words + 1, zero.words, 36), 0);
    if (ec_GFp_simple_is_at_infinity(&grp, &copy) != 0) {
        EXPECT_EQ(x.words[0], 0U);
        EXPECT_EQ(y.words[0], 0U);
        return {};
    }
    return Point({x.words[0], y.words[0]});
}

TEST(EcPoint, DoublesEveryPointInPlaceAndApart) {
    ec_group_st grp = small_group();
    for (const Point& a : all_points()) {
        for (const unsigned int z : {1U, 2U, 45U}) {
            ec_point_st P = jacobian(a, z), apart;
            std::memset(&apart, 0x3a, sizeof apart);
            const ec_point_st before = apart;
            ec_GFp_simple_dbl(&grp, &apart, &P);
            EXPECT_EQ(snapshot(P), snapshot(jacobian(a, z)));
            ec_GFp_simple_dbl(&grp, &P, &P);
            EXPECT_EQ(affine(grp, apart), sum(a, a));
            EXPECT_EQ(affine(grp, P), sum(a, a));
            EXPECT_EQ(apart.z_is_one, 0);
            if (!a) {
                const bignum_st zero = {};
                EXPECT_EQ(snapshot(apart.X), snapshot(before.X));
                EXPECT_EQ(snapshot(apart.Y), snapshot(before.Y));
                EXPECT_EQ(snapshot(apart.Z), snapshot(zero));
            }
        }
    }
}

TEST(EcPoint, AddsEveryPairInEveryAliasing) {
    ec_group_st grp = small_group();
    const std::vector<Point> points = all_points();
    for (const Point& a : points) {
        for (const Point& b : points) {
            for (const auto& [za, zb] : {std::pair(1U, 1U), {1U, 9U}, {7U, 1U}, {33U, 4U}}) {
                const ec_point_st A = jacobian(a, za), B = jacobian(b, zb);
                ec_point_st apart, over_a = A, over_b = B, in_a = A, in_b = B;
                std::memset(&apart, 0x3a, sizeof apart);
                ec_GFp_simple_add(&grp, &apart, &in_a, &in_b);
                ec_GFp_simple_add(&grp, &over_a, &over_a, &in_b);
                ec_GFp_simple_add(&grp, &over_b, &in_a, &over_b);
                EXPECT_EQ(snapshot(in_a), snapshot(A));
                EXPECT_EQ(snapshot(in_b), snapshot(B));
                const Point expected = sum(a, b);
                EXPECT_EQ(affine(grp, apart), expected);
                EXPECT_EQ(affine(grp, over_a), expected);
                EXPECT_EQ(affine(grp, over_b), expected);
                if (!a || !b) {
                    EXPECT_EQ(snapshot(apart), snapshot(a ? A : B));
                    EXPECT_EQ(snapshot(over_a), snapshot(apart));
                    EXPECT_EQ(snapshot(over_b), snapshot(apart));
                } else {
                    EXPECT_EQ(apart.z_is_one, 0);
                    if (!expected) {
                        EXPECT_EQ(apart.X.words[0], 0x3a3a3a3aU);
                        EXPECT_EQ(apart.Y.words[9], 0x3a3a3a3aU);
                        EXPECT_EQ(apart.Z.words[9], 0U);
                    }
                }
            }
        }
        ec_point_st P = jacobian(a, 3);
        ec_GFp_simple_add(&grp, &P, &P, &P);
        EXPECT_EQ(affine(grp, P), sum(a, a));
    }
}

bignum_st scalar(unsigned int k) {
    bignum_st s;
    std::memset(&s, 0xff, sizeof s);
    s.words[0] = k;
    return s;
}

TEST(EcPoint, MultipliesEveryPointByEveryScalar) {
    ec_group_st grp = small_group();
    for (const Point& a : all_points()) {
        Point expected;
        for (unsigned int k = 0; k < 300; ++k, expected = sum(expected, a)) {
            ec_point_st P = jacobian(a, 1 + k % 3), r = {};
            bignum_st s = scalar(k);
            EC_POINTs_mul(&grp, &r, &P, &s, nullptr, nullptr);
            ASSERT_EQ(affine(grp, r), expected) << k;
            EC_POINTs_mul(&grp, &P, &P, &s, nullptr, nullptr);
            if (k != 0) {
                EXPECT_EQ(affine(grp, P), expected) << k;
            }
        }
    }
}

TEST(EcPoint, MultipliesPairsInOnePass) {
    ec_group_st grp = small_group();
    const std::vector<Point> points = all_points();
    for (std::size_t i = 0; i < points.size(); i += 5) {
        const Point &a = points[i], &b = points[(3 * i + 2) % points.size()];
        for (unsigned int k = 0; k < 40; ++k) {
            for (unsigned int l = 0; l < 40; ++l) {
                ec_point_st P = jacobian(a, 1), Q = jacobian(b, 6), r = {};
                bignum_st sk = scalar(k), sl = scalar(l);
                EC_POINTs_mul(&grp, &r, &P, &sk, &Q, &sl);
                ASSERT_EQ(affine(grp, r), sum(multiple(k, a), multiple(l, b))) << k << ' ' << l;
            }
        }
    }
}

TEST(EcPoint, LeavesTheResultAloneWhenEveryDigitIsZero) {
    ec_group_st grp = small_group();
    ec_point_st P = jacobian(all_points()[1], 1), Q = P, r;
    std::memset(&r, 0x3a, sizeof r);
    const ec_point_st before = r;
    bignum_st zero = scalar(0), one = scalar(1);
    EC_POINTs_mul(&grp, &r, &P, &zero, nullptr, nullptr);
    EC_POINTs_mul(&grp, &r, &P, &zero, &Q, &zero);
    EXPECT_EQ(snapshot(r), snapshot(before));
    EC_POINTs_mul(&grp, &r, &P, &one, nullptr, nullptr);
    EXPECT_EQ(snapshot(r), snapshot(P)) << "1 P is an exact copy, the flag included";
}

}  // namespace
}  // namespace ulmaro::test
