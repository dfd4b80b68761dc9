// The multiplications of every kernel against textbook affine arithmetic, at the scalars and points where formulas
// break: infinity, equal and opposite points, the order and its neighbours.
#include <gtest/gtest.h>

#include <algorithm>

#include "sm2p256/kernels.hpp"
#include "sm2p256/scalar.hpp"
#include "sm2p256/table.hpp"
#include "support/numbers256.hpp"

namespace ulmaro::test {
namespace {

using namespace sm2p256;
using F = PortableField;

/// Affine points with infinity as (0, 0), which is not on the curve.
bool same_point(const Affine& a, const Affine& b) { return snapshot(a) == snapshot(b); }
bool infinite(const Affine& a) { return same_point(a, {}); }
Affine negative(const Affine& a) { return {a.x, F::sub(fe_zero, a.y)}; }

Affine plus(const Affine& a, const Affine& b) {
    if (infinite(a)) return b;
    if (infinite(b)) return a;
    if (same_point(a, negative(b))) return {};
    Fe slope = F::mul(F::sub(b.y, a.y), fe_invert(F::sub(b.x, a.x)));
    if (same_point(a, b)) {
        const Fe numerator = F::sub(F::sqr(a.x), fe_one);
        slope = F::mul(F::add(numerator, F::add(numerator, numerator)), fe_invert(F::add(a.y, a.y)));
    }
    const Fe x = F::sub(F::sub(F::sqr(slope), a.x), b.x);
    return {x, F::sub(F::mul(slope, F::sub(a.x, x)), a.y)};
}

Affine times(const U256& k, const Affine& p) {
    Affine r = {};
    for (int i = 255; i >= 0; --i) {
        r = plus(r, r);
        if ((k.w[i / 64] >> (i % 64) & 1) != 0) r = plus(r, p);
    }
    return r;
}

const SlowModulus order{group_order};

U256 shifted(std::uint64_t a, int bits) { return {{0, 0, 0, a << (bits - 192)}}; }

/// Edges, the two scalars at which a constant-time sum meets its own operand, and random ones.
std::vector<U256> scalars(Random& random) {
    std::vector<U256> r = edges(group_order);
    const U256 meets_comb = order.plus(shifted(15, 252), shifted(15, 252));
    r.push_back(meets_comb);
    r.push_back(order.negative(meets_comb));
    for (std::uint64_t i = 1; i < 34; ++i) r.push_back(order.negative(number(i)));
    for (int i = 0; i < 10; ++i) r.push_back(random256(random));
    return r;
}

TEST(Sm2p256Table, EveryEntryIsItsMultiple) {
    Affine base = generator;
    const auto check = [](const Affine* table, std::size_t size, const Affine& first) {
        const Affine twice = plus(first, first);
        Affine expected = first;
        for (std::size_t i = 0; i < size; ++i, expected = plus(expected, twice)) {
            ASSERT_TRUE(same_point(table[i], expected)) << i;
        }
    };
    ASSERT_NE(on_curve(generator), 0U);
    check(generator_odd, std::size(generator_odd), generator);
    for (const auto& window : comb) {
        check(window, std::size(window), base);
        for (int i = 0; i < 6; ++i) base = plus(base, base);
    }
    check(comb_top, std::size(comb_top), base);
    EXPECT_TRUE(same_point(comb_top_doubled, plus(comb_top[7], comb_top[7])));
}

class Sm2p256Kernels : public testing::TestWithParam<const Kernels*> {};
INSTANTIATE_TEST_SUITE_P(All, Sm2p256Kernels, testing::ValuesIn(supported_kernels().begin(), supported_kernels().end()),
                         [](const auto& kernel) {
                             std::string name = kernel.param->name;
                             std::erase(name, '-');
                             return name;
                         });

TEST_P(Sm2p256Kernels, MultiplyBaseAndPoint) {
    Random random;
    const Affine other = times(random256(random), generator);
    for (const U256& k : scalars(random)) {
        Affine r;
        const Affine expected = times(k, generator);
        EXPECT_EQ(GetParam()->multiply_base(r, k) != 0, infinite(expected));
        EXPECT_TRUE(same_point(r, expected)) << to_hex(be(k));
        for (const Affine& p : {generator, negative(generator), other}) {
            const Affine product = times(k, p);
            EXPECT_EQ(GetParam()->multiply_point(r, p, k) != 0, infinite(product));
            EXPECT_TRUE(same_point(r, product)) << to_hex(be(k));
        }
    }
}

TEST_P(Sm2p256Kernels, MultiplyAdd) {
    Random random;
    const auto check = [](const U256& s, const Affine& p, const U256& t) {
        Affine r;
        to_affine<F>(r, GetParam()->multiply_add_vartime(s, p, t));
        EXPECT_TRUE(same_point(r, plus(times(s, generator), times(t, p)))) << to_hex(be(s)) << ' ' << to_hex(be(t));
    };
    // P = [d]G: the running sums of the two scalars meet when d is small, the total is infinity when s = -t d.
    for (const U256& d : {number(1), number(2), number(3), order.negative(number(1)), order.negative(number(2)),
                          order.negative(number(6)), random256(random)}) {
        const Affine p = times(d, generator);
        for (const U256& t : {number(0), number(1), number(2), number(7), order.negative(number(1)), random256(random),
                              U256{{~0U, ~0U, ~0U, ~0U}}}) {
            const U256 opposite = order.negative(order.times(order.reduced(t), order.reduced(d)));
            check(opposite, p, t);
            check(order.plus(opposite, number(1)), p, t);
            check(order.negative(opposite), p, t);
            check({}, p, t);
            check(random256(random), p, t);
        }
    }
}

}  // namespace
}  // namespace ulmaro::test
