// Multiples on any curve over a 256-bit prime: every kernel, and the way the schemes take, against the exported
// routines.
#include <gtest/gtest.h>

#include "base/cpu.hpp"
#include "ec/limbs.hpp"
#include "ec/multiply.hpp"
#include "ecp256/engine.hpp"
#include "ecp256/kernels.hpp"
#include "support/curves.hpp"
#include "support/numbers256.hpp"
#if defined(__x86_64__)
#include "u256/x86_montgomery.hpp"
#elif defined(__aarch64__)
#include "u256/arm_montgomery.hpp"
#endif

namespace ulmaro::test {
namespace {

using ec::AffinePoint;
using ec::from_limbs;
using ec::limbs;
using u256::U256;

bignum_st words(const U256& a) {
    bignum_st r;
    from_limbs(r, a);
    return r;
}

/// [s]G + [t]Q by the exported routines; for Q null, [s]G.
ec_point_st reference(ec_group_st& grp, const U256& s, ec_point_st* Q = nullptr, const U256& t = {}) {
    ec_point_st r = {};
    bignum_st k = words(s), l = words(t);
    EC_POINTs_mul(&grp, &r, &grp.generator, &k, Q, Q == nullptr ? nullptr : &l);
    return r;
}

/// Zeros for infinity.
AffinePoint affine(ec_group_st& grp, ec_point_st point) {
    AffinePoint r;
    ec_GFp_simple_point_get_affine_coordinates_GFp(&grp, &point, &r.x, &r.y);
    return r;
}

void expect_point(const AffinePoint& a, const AffinePoint& expected) {
    EXPECT_EQ(limbs(a.x.words), limbs(expected.x.words));
    EXPECT_EQ(limbs(a.y.words), limbs(expected.y.words));
}

std::vector<U256> scalars(Random& random, const U256& n) {
    std::vector<U256> r = edges(n);
    // The last window's digit equal to the sum before it, and its neighbours.
    for (std::uint64_t i = 4; i < 66; ++i) r.push_back(SlowModulus{n}.negative(number(i)));
    for (int i = 0; i < 10; ++i) r.push_back(random256(random));
    return r;
}

/// The arithmetic of one architecture: products against slow arithmetic, all else against products and sums.
template <typename Residues>
void check_residues(Random& random) {
    for (const Curve& named : kCurves) {
        SCOPED_TRACE(named.name);
        const SlowModulus slow{number(from_hex(named.p))};
        const u256::Modulus modulus = u256::modulus(slow.m);
        const Residues f(modulus);
        const U256 radix = slow.plus(number(1), slow.reduced({{~0ULL, ~0ULL, ~0ULL, ~0ULL}}));
        std::vector<U256> values;
        for (const U256& edge : edges(slow.m)) values.push_back(slow.reduced(edge));
        for (int i = 0; i < 4; ++i) values.push_back(slow.reduced(random256(random)));
        const auto any = [&] { return values[random.word() % values.size()]; };
        for (int i = 0; i < 400; ++i) {
            const U256 a = any(), b = any();
            EXPECT_EQ(slow.times(f.mul(a, b), radix), slow.times(a, b));
            EXPECT_EQ(f.add(a, b), slow.plus(a, b));
            EXPECT_EQ(f.sub(a, b), slow.minus(a, b));
        }
        for (const U256& a : values) {
            EXPECT_EQ(f.sqr(a), f.mul(a, a));
            EXPECT_EQ(f.add(f.half(a), f.half(a)), a);
            EXPECT_EQ(f.negated_if(~u256::Mask{0}, a), f.sub({}, a));
            EXPECT_EQ(f.negated_if(0, a), a);
        }
        for (int i = 0; i < 4000; ++i) {
            const U256 a = any(), b = any(), c = any(), d = any();
            EXPECT_EQ(f.mul_sub(a, b, c, d), f.sub(f.mul(a, b), f.mul(c, d)));
            EXPECT_EQ(f.mul_sub_sqr(a, b, c), f.sub(f.mul(a, b), f.mul(c, c)));
        }
    }
}

TEST(Ecp256, ResiduesOfEveryArchitecture) {
    Random random;
    check_residues<u256::PortableResidues>(random);
#if defined(__x86_64__)
    if (cpu_features().bmi2 && cpu_features().adx) check_residues<u256::Residues<u256::X86Chains>>(random);
#elif defined(__aarch64__)
    check_residues<u256::Residues<u256::ArmChains>>(random);
#endif
}

class Ecp256Kernels : public testing::TestWithParam<const ecp256::Kernels*> {};
INSTANTIATE_TEST_SUITE_P(All, Ecp256Kernels,
                         testing::ValuesIn(ecp256::supported_kernels().begin(), ecp256::supported_kernels().end()),
                         [](const auto& which) { return std::to_string(which.index); });

TEST_P(Ecp256Kernels, MultipliesAsTheExportedRoutines) {
    const u256::U256 one = number(1);
    Random random;
    for (const Curve& named : kCurves) {
        SCOPED_TRACE(named.name);
        ec_group_st grp = prepare(named);
        ASSERT_TRUE(ec::fits_limbs(grp));
        const ecp256::Curve curve = ec::curve_of(grp);
        const u256::PortableResidues f(curve.p);
        const ecp256::Affine G = {limbs(grp.generator.X.words), limbs(grp.generator.Y.words)};
        const U256 n = limbs(grp.order.words);
        // Compared without inversions: x Z^2 = X, y Z^3 = Y.
        const auto expect = [&](const ecp256::Jacobian& got, const ec_point_st& point) {
            const AffinePoint expected = affine(grp, point);
            ASSERT_EQ(u256::is_zero(got.z.w) != 0,
                      ec_GFp_simple_is_at_infinity(&grp, const_cast<ec_point_st*>(&point)) != 0);
            if (u256::is_zero(got.z.w) != 0) return;
            const U256 zz = f.sqr(got.z);
            EXPECT_EQ(f.mul(f.mul(zz, f.mul(limbs(expected.x.words), curve.factor)), one), f.mul(got.x, one));
            EXPECT_EQ(f.mul(f.mul(f.mul(zz, got.z), f.mul(limbs(expected.y.words), curve.factor)), one),
                      f.mul(got.y, one));
        };
        for (const U256& k : scalars(random, n)) {
            ecp256::Jacobian got;
            // The order need not be respected by a caller: above it an exception is allowed, a wrong result is not.
            const u256::Mask exception = GetParam()->multiply_point(curve, G, k, got);
            EXPECT_TRUE(exception == 0 || u256::less(k.w, n.w) == 0);
            if (exception == 0) expect(got, reference(grp, k));
        }
        // Sums with a point d G in every relation: the same, the opposite, infinity as the sum, and any.
        const U256 s = random256(random), t = random256(random);
        for (const U256& d : {number(1), number(2), number(3), SlowModulus{n}.negative(number(1)), s}) {
            ec_point_st Q = reference(grp, d);
            const AffinePoint plain = affine(grp, Q);
            const ecp256::Affine P = {f.mul(limbs(plain.x.words), curve.factor),
                                      f.mul(limbs(plain.y.words), curve.factor)};
            const U256 opposite = SlowModulus{n}.negative(SlowModulus{n}.times(t, d));
            for (const auto& [k, l] : {std::pair{s, t},
                                       {number(0), t},
                                       {s, number(0)},
                                       {opposite, t},
                                       {number(1), number(1)},
                                       {number(15), number(15)},
                                       {number(0), number(0)}}) {
                ecp256::Jacobian got = {};
                if (GetParam()->multiply_both_vartime(curve, G, k, P, l, got) == 0)
                    expect(got, reference(grp, k, &Q, l));
            }
        }
    }
}

// Points of order 2, 3 and 4, where sums meet what the formulas leave out; a modulus that is no prime.
TEST(Ecp256, DegenerateGroupsGoTheLongWay) {
    constexpr const char* kZero = "0000000000000000000000000000000000000000000000000000000000000000";
    constexpr const char* kOne = "0000000000000000000000000000000000000000000000000000000000000001";
    const Curve& sound = kCurves[2];
    const Curve curves[] = {
        {"order 2", sound.p, kZero, "ffffffff00000001000000000000000000000000fffffffffffffffffffffffe", kOne, kZero,
         sound.n},
        {"order 3", sound.p, "ffffffff00000001000000000000000000000000ffffffffffffffffffffffea",
         "0000000000000000000000000000000000000000000000000000000000000025",
         "0000000000000000000000000000000000000000000000000000000000000003", kOne, sound.n},
        {"order 4", sound.p, "0000000000000000000000000000000000000000000000000000000000000004", kZero,
         "0000000000000000000000000000000000000000000000000000000000000002",
         "0000000000000000000000000000000000000000000000000000000000000004", sound.n},
    };
    for (const Curve& named : curves) {
        SCOPED_TRACE(named.name);
        ec_group_st grp = prepare(named);
        for (std::uint64_t i = 0; i < 70; ++i) {
            bignum_st k = words(number(i)), l = words(number(69 - i));
            AffinePoint got, G = affine(grp, grp.generator);
            const ec_point_st expected = reference(grp, number(i));
            const bool finite = ec_GFp_simple_is_at_infinity(&grp, const_cast<ec_point_st*>(&expected)) == 0;
            EXPECT_EQ(ec::multiply_base(grp, k, got), finite) << i;
            expect_point(got, affine(grp, expected));
            EXPECT_EQ(ec::multiply_point(grp, G, k, got), finite) << i;
            expect_point(got, affine(grp, expected));
            ec::multiply_both_vartime(grp, k, G, true, l, got);
            expect_point(got, affine(grp, reference(grp, number(i), &grp.generator, number(69 - i))));
        }
    }
}

}  // namespace
}  // namespace ulmaro::test
