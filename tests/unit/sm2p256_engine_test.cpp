// Signing and verification on the recommended curve, where the scheme's rejections and rare cases are reached on
// purpose.
#include <gtest/gtest.h>

#include "sm2p256/engine.hpp"
#include "sm2p256/kernels.hpp"
#include "sm2p256/scalar.hpp"
#include "support/numbers256.hpp"
#include "support/square_root.hpp"

namespace ulmaro::test {
namespace {

using namespace sm2p256;

const SlowModulus order{group_order};

In in(const Bytes& bytes) { return In(bytes.data(), 32); }
Out out(Bytes& bytes) { return Out(bytes.data(), 32); }

struct Pair {
    Bytes first = Bytes(32), second = Bytes(32);
};

Pair base_multiple(const U256& k) {
    Pair p;
    multiply_base(out(p.first), out(p.second), in(be(k)));
    return p;
}

bool sign(Pair& signature, const U256& e, const U256& d, const U256& k) {
    return sm2p256::sign(out(signature.first), out(signature.second), in(be(e)), in(be(d)), in(be(k)));
}

Comparison verify(const U256& e, const Pair& signature, const Pair& key) {
    return verify_vartime(in(be(e)), in(signature.first), in(signature.second), in(key.first), in(key.second));
}

U256 inverse(const U256& a) { return scalar_residue(scalar_invert(scalar_from(a))); }

const Pair zeros;

// The signature example of GB/T 32918.5 on this curve: digest, private key, k, r, s.
TEST(Sm2p256Engine, SignsThePublishedExample) {
    const U256 e = number(from_hex("f0b43e94ba45accaace692ed534382eb17e6ab5a19ce7b31f4486fdfc0d28640"));
    const U256 d = number(from_hex("3945208f7b2144b13f36e38ac6d39f95889393692860b51a42fb81ef4df7c5b8"));
    const U256 k = number(from_hex("59276e27d506861a16680f3ad9c02dccef3cc1fa3cdbe4ce6d54b80deac1bc21"));
    Pair signature;
    EXPECT_TRUE(sign(signature, e, d, k));
    EXPECT_EQ(to_hex(signature.first), "f5a03b0648d2c4630eeac513e1bb81a15944da3827d5b74143ac7eaceee720b3");
    EXPECT_EQ(to_hex(signature.second), "b1b6aa29df212fd8763182bc0d421ca1bb9038fd1f7f42d4840b69c485bbc1aa");
    EXPECT_EQ(verify(e, signature, base_multiple(d)), Comparison::equal);
}

TEST(Sm2p256Engine, SignaturesSatisfyTheEquationAndVerify) {
    Random random;
    U256 largest_key = group_order;
    largest_key.w[0] -= 2;
    for (const U256& d : {number(1), number(2), largest_key, order.reduced(random256(random))}) {
        const Pair key = base_multiple(d);
        for (const U256& e : {number(0), group_order, U256{{~0UL, ~0UL, ~0UL, ~0UL}}, random256(random)}) {
            for (const U256& k : {number(1), order.negative(number(1)), order.reduced(random256(random))}) {
                Pair signature;
                if (!sign(signature, e, d, k)) continue;
                const U256 r = number(signature.first), s = number(signature.second);
                EXPECT_EQ(r, order.plus(order.reduced(e), order.reduced(number(base_multiple(k).first))));
                EXPECT_EQ(order.times(s, order.plus(d, number(1))), order.minus(k, order.times(r, d)));
                EXPECT_EQ(verify(e, signature, key), Comparison::equal);

                // With e one more, R is r + 1.
                EXPECT_EQ(verify(order.plus(order.reduced(e), number(1)), signature, key),
                          r == order.negative(number(1)) ? Comparison::greater : Comparison::less);
                Pair wrong = signature;
                wrong.second[9] ^= 1;
                const Comparison comparison = verify(e, wrong, key);
                EXPECT_TRUE(comparison == Comparison::less || comparison == Comparison::greater);
            }
        }
    }
}

TEST(Sm2p256Engine, RejectsAsTheSchemeSays) {
    Random random;
    const U256 d = order.reduced(random256(random)), k = order.reduced(random256(random));
    const U256 x = order.reduced(number(base_multiple(k).first));
    // r = 0; r + k = n; s = 0 with k = r d.
    for (const U256& r : {number(0), order.negative(k), order.times(k, inverse(d))}) {
        Pair signature{pattern(32), pattern(32)};
        EXPECT_FALSE(sign(signature, order.minus(r, x), d, k));
        EXPECT_EQ(signature.first, zeros.first);
        EXPECT_EQ(signature.second, zeros.second);
    }
    for (const U256& bad : {number(0), order.negative(number(1)), group_order, U256{{~0UL, ~0UL, ~0UL, ~0UL}}}) {
        EXPECT_FALSE(is_signing_key(in(be(bad))));
    }
    for (const U256& good : {number(1), order.negative(number(2))}) EXPECT_TRUE(is_signing_key(in(be(good))));
    const Pair key = base_multiple(d), one = base_multiple(number(1));
    const auto verdict = [&](const U256& r, const U256& s, const Pair& p) { return verify(x, {be(r), be(s)}, p); };
    EXPECT_EQ(verdict(number(0), number(5), key), Comparison::none);
    EXPECT_EQ(verdict(number(5), number(0), key), Comparison::none);
    EXPECT_EQ(verdict(number(5), order.negative(number(5)), key), Comparison::none);
    // The sum is infinity: s + t d = 0 with d = 1, t = r + s, so r = -2 s.
    EXPECT_EQ(verdict(order.negative(number(10)), number(5), one), Comparison::none);
}

// x of the sum in [n, p): one such point is found by trying, and the key is chosen to lead there.
TEST(Sm2p256Engine, VerifiesWhenTheCoordinateExceedsTheOrder) {
    Random random;
    using F = PortableField;
    const Fe b = fe_from(number(from_hex("28e9fa9e9d9f5e344d5a9e4bcf6509a7f39789f515ab8f92ddbcbd414d940e93")));
    U256 x = group_order;
    Affine target = {};
    do {
        x.w[0] += 1;
        target.x = fe_from(x);
    } while (!square_root(target.y, F::add(F::mul(target.x, F::sub(F::sqr(target.x), fe_from(number(3)))), b)));
    ASSERT_NE(on_curve(target), 0U);

    const U256 e = random256(random), s = order.reduced(random256(random));
    const U256 r = order.plus(order.reduced(e), order.reduced(x)), t = order.plus(r, s);
    const U256 minus_s_over_t = order.negative(order.times(s, inverse(t)));
    Affine key;
    to_affine<F>(key, active_kernels().multiply_add_vartime(minus_s_over_t, target, inverse(t)));
    const Pair public_key = {be(fe_residue(key.x)), be(fe_residue(key.y))};
    EXPECT_EQ(verify(e, {be(r), be(s)}, public_key), Comparison::equal);
    EXPECT_NE(verify(order.plus(order.reduced(e), number(1)), {be(r), be(s)}, public_key), Comparison::equal);
}

TEST(Sm2p256Engine, OnCurve) {
    const Pair g = base_multiple(number(1));
    EXPECT_TRUE(is_on_curve(in(g.first), in(g.second)));
    EXPECT_FALSE(is_on_curve(in(g.second), in(g.first)));
    EXPECT_FALSE(is_on_curve(in(zeros.first), in(zeros.second)));
}

}  // namespace
}  // namespace ulmaro::test
