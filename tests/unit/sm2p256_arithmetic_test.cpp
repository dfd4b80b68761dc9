// The field and the scalars of the recommended curve against slow arithmetic: every kernel of the field.
#include <gtest/gtest.h>

#include "base/cpu.hpp"
#include "sm2p256/field.hpp"
#include "sm2p256/scalar.hpp"
#include "support/numbers256.hpp"
#include "u256/divsteps.hpp"
#if defined(__x86_64__)
#include "sm2p256/kernels/x86_field.hpp"
#elif defined(__aarch64__)
#include "sm2p256/kernels/arm_field.hpp"
#endif

namespace ulmaro::test {
namespace {

using namespace sm2p256;

/// Residues: the edges below the modulus, their neighbours by random steps, and random ones.
std::vector<U256> residues(const U256& m, Random& random, int count) {
    const SlowModulus slow{m};
    std::vector<U256> r;
    for (const U256& edge : edges(m)) r.push_back(slow.reduced(edge));
    for (int i = 0; i < count; ++i) r.push_back(slow.reduced(random256(random)));
    return r;
}

U256 limbs(const Fe& a) { return {{a.w[0], a.w[1], a.w[2], a.w[3]}}; }
Fe element(const U256& a) { return {{a.w[0], a.w[1], a.w[2], a.w[3]}}; }

/// The functions see raw limbs, so the edges are edges of the representation.
template <typename F>
void check_field() {
    Random random;
    const SlowModulus p{field_prime};
    const U256 radix = limbs(fe_one);  // 2^256
    const std::vector<U256> values = residues(field_prime, random, 20);
    for (const U256& a : values) {
        EXPECT_EQ(p.times(limbs(F::sqr(element(a))), radix), p.times(a, a));
        EXPECT_EQ(p.plus(limbs(F::half(element(a))), limbs(F::half(element(a)))), a);
        const U256 opposite = a == U256{} ? field_prime : p.negative(a);
        EXPECT_EQ(limbs(F::negated_if(~Mask{0}, element(a))), opposite);
        EXPECT_EQ(limbs(F::negated_if(0, element(a))), a);
        const U256 c = values[random.up_to(values.size() - 1)], d = values[random.up_to(values.size() - 1)];
        for (const U256& b : values) {
            const U256 ab = p.times(a, b);
            EXPECT_EQ(p.times(limbs(F::mul_sub(element(a), element(b), element(c), element(d))), radix),
                      p.minus(ab, p.times(c, d)));
            EXPECT_EQ(p.times(limbs(F::mul_sub_sqr(element(a), element(b), element(c))), radix),
                      p.minus(ab, p.times(c, c)));
            EXPECT_EQ(p.times(limbs(F::mul(element(a), element(b))), radix), ab);
            EXPECT_EQ(limbs(F::add(element(a), element(b))), p.plus(a, b));
            EXPECT_EQ(limbs(F::sub(element(a), element(b))), p.minus(a, b));
        }
    }
}

TEST(Sm2p256Field, PortableKernel) { check_field<PortableField>(); }

#if defined(__x86_64__)
TEST(Sm2p256Field, X86Kernel) {
    if (!cpu_features().bmi2 || !cpu_features().adx) GTEST_SKIP();
    check_field<X86Field>();
}
#elif defined(__aarch64__)
TEST(Sm2p256Field, ArmKernel) { check_field<ArmField>(); }
#endif

TEST(Sm2p256Field, ConvertsAndInverts) {
    Random random;
    const SlowModulus p{field_prime};
    for (U256 a : edges(field_prime)) {
        for (int i = 0; i < 20; ++i, a = random256(random)) {
            const Fe x = fe_from(a);
            EXPECT_EQ(limbs(x), p.times(a, limbs(fe_one)));
            EXPECT_EQ(fe_residue(x), p.reduced(a));
            const U256 expected = p.reduced(a) == U256{} ? U256{} : number(1);
            EXPECT_EQ(p.times(fe_residue(fe_invert(x)), a), expected);
            EXPECT_EQ(fe_residue(PortableField::mul(fe_invert(x), x)), expected);
        }
    }
}

TEST(Sm2p256Scalar, Laws) {
    Random random;
    const SlowModulus n{group_order};
    EXPECT_EQ(scalar_residue(scalar_one), number(1));
    const std::vector<U256> values = edges(group_order);
    for (const U256& a : values) {
        for (U256 b : values) {
            for (int i = 0; i < 3; ++i, b = random256(random)) {
                const Scalar x = scalar_from(a), y = scalar_from(b);
                EXPECT_EQ(scalar_residue(x), n.reduced(a));
                EXPECT_EQ(reduce_to_order(b), n.reduced(b));
                EXPECT_EQ(scalar_residue(scalar_mul(x, y)), n.times(n.reduced(a), b));
                EXPECT_EQ(scalar_residue(scalar_add(x, y)), n.plus(n.reduced(a), n.reduced(b)));
                EXPECT_EQ(scalar_residue(scalar_sub(x, y)), n.minus(n.reduced(a), n.reduced(b)));
                const U256 one = n.reduced(b) == U256{} ? U256{} : number(1);
                EXPECT_EQ(n.times(scalar_residue(scalar_invert(y)), b), one);
            }
        }
    }
}

}  // namespace
}  // namespace ulmaro::test
