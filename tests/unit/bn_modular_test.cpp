// Division, inverse, residues and Montgomery arithmetic: exact results, lengths, written and unwritten words, overlaps.
#include <gtest/gtest.h>

#include "UlmaroAlgrithmInternals.hpp"
#include "support/guarded.hpp"
#include "support/numbers.hpp"

using namespace ulmaro::test;

namespace {

const Words kPrime{kMax, kMax, 0, kMax, kMax, kMax, kMax, 0xFFFFFFFE};
const Words kOrder{0x39D54123, 0x53BBF409, 0x21C6052B, 0x7203DF6B, kMax, kMax, kMax, 0xFFFFFFFE};

int normal_top(const Words& a) {
    int top = count(a);
    while (top > 0 && a[static_cast<std::size_t>(top) - 1] == 0) --top;
    return top;
}

Words normal(Words a) {
    a.resize(static_cast<std::size_t>(normal_top(a)));
    return a;
}

Words product(Words a, Words b) {
    Words r(a.size() + b.size());
    int top = 0;
    BN_mul(r.data(), &top, a.data(), count(a), b.data(), count(b));
    return {r.begin(), r.begin() + top};
}

Words sum(Words a, Words b) {
    Words r(std::max(a.size(), b.size()) + 1);
    int top = 0;
    BN_uadd(r.data(), &top, a.data(), count(a), b.data(), count(b));
    return {r.begin(), r.begin() + top};
}

/// One less than a number that is not zero, at the same count.
Words predecessor(Words a) {
    for (unsigned int& w : a) {
        if (w-- != 0) break;
    }
    return a;
}

Words remainder(Words a, Words m) {
    Words r(std::max(a.size(), m.size()) + 10);
    int top = 0;
    BN_div(nullptr, nullptr, r.data(), &top, a.data(), count(a), m.data(), count(m));
    return {r.begin(), r.begin() + top};
}

/// Divides with buffers that have just the room promised, and checks the identity that defines the result.
void check_division(Words num, Words d) {
    const int q_room = std::max(count(num) - count(d) + 1, 0);
    Words q = buffer({}, static_cast<std::size_t>(q_room));
    Words r = buffer({}, room(count(d)));
    int q_top = -1;
    int r_top = -1;
    BN_div(q.data(), &q_top, r.data(), &r_top, num.data(), count(num), d.data(), count(d));
    ASSERT_EQ(q, buffer(Words(q.begin(), q.begin() + q_top), static_cast<std::size_t>(q_room)))
        << "stray quotient word";
    const Words quotient(q.begin(), q.begin() + q_top);
    const Words rest(r.begin(), r.begin() + r_top);
    EXPECT_EQ(normal(quotient), quotient);
    EXPECT_EQ(normal(rest), rest);
    EXPECT_EQ(sum(product(quotient, d), rest), num);
    Words divisor = d;
    EXPECT_LT(BN_ucmp(r.data(), r_top, divisor.data(), count(d)), 0);

    Words only_r = buffer({}, r.size());
    int only_top = -1;
    BN_div(nullptr, nullptr, only_r.data(), &only_top, num.data(), count(num), d.data(), count(d));
    EXPECT_EQ(only_r, r);
    EXPECT_EQ(only_top, r_top);
    Words over = num;
    BN_div(over.data(), &only_top, nullptr, nullptr, over.data(), count(num), d.data(), count(d));
    EXPECT_EQ(Words(over.begin(), over.begin() + only_top), quotient);
}

TEST(Division, RandomShapesUpToTheLargest) {
    Random random;
    for (int round = 0; round < 3000 && !testing::Test::HasFailure(); ++round) {
        const int k = 1 + static_cast<int>(random.up_to(round % 16 == 0 ? 63 : 9));
        const int n = k + static_cast<int>(random.up_to(round % 16 == 0 ? static_cast<unsigned>(129 - k) : 9));
        Words d = random_number(random, k);
        if (round % 3 == 0) d.back() >>= random.up_to(31);
        if (d.back() == 0) d.back() = 1;
        Words num = random_number(random, n);
        if (n == k && num.back() < d.back()) num.back() = kMax;
        check_division(num, d);
    }
    check_division(Words(129, kMax), Words(64, kMax));
}

// num = d * q + r with chosen digits: a digit estimate of 2^32 - 1 (leading words alike) and estimates that are one too
// large and have to be added back, at every shift.
TEST(Division, EstimatesAtTheirLimits) {
    for (int shift = 0; shift < 32 && !testing::Test::HasFailure(); ++shift) {
        const unsigned int top = 0x80000000U >> shift;
        for (Words d :
             {Words{kMax, kMax, top}, {1, 0, top}, {kMax, 0, top}, {0, 0, top}, {3, 0, 0, top}, {top}, {1, top}}) {
            for (const Words& q : {Words{kMax}, {kMax, kMax}, {kMax - 1, kMax, 1}, {0, kMax}, {kMax, 0, 0, 1}, {1}}) {
                const Words exact = product(d, q);
                check_division(exact, d);
                check_division(sum(exact, normal(predecessor(d))), d);
                const Words below = normal(predecessor(exact));
                if (count(below) > count(d)) check_division(below, d);
            }
        }
    }
    // Classic add-back: both estimate words fit, the third does not.
    check_division({3, 0, 0x80000000}, {1, 0, 0x20000000});
    check_division({0, 0, 0x80000000, 0x7FFFFFFF}, {1, 0, 0x80000000});
    check_division({0, kMax - 1, 0x80000000}, {kMax, 0x80000000});
}

struct Division {
    Words num, d;
    Words q;  ///< quotient words written
    int q_top;
    Words r;  ///< remainder words written, the zero words above the value included
    int r_top;
};

TEST(Division, WordsWritten) {
    const Division cases[] = {
        // Below the divisor: copied at the count passed, zero-extended to the divisor's.
        {{5, 0, 0}, {7, 1, 1}, {}, 0, {5, 0, 0}, 3},
        {{0, 0, 0}, {7, 1, 1}, {}, 0, {0, 0, 0}, 3},
        {{5}, {7, 1, 1}, {}, 0, {5, 0, 0}, 1},
        {{}, {7, 1}, {}, 0, {0, 0}, 0},
        {{9, 0}, {7, 0, 0}, {}, 0, {9, 0, 0}, 2},
        // Equal, with a zero word after the remainder; a whole buffer for a divisor of full words.
        {kOrder, kOrder, {1}, 1, Words(10, 0), 0},
        {{6, 5}, {6, 5}, {1}, 1, {0}, 0},
        // Remainders with stale words above: 1, 2^31, 2^32 - 1, 2^64, 2^160 + 1.
        {{8}, {7}, {1}, 1, {1, 0}, 1},
        {{0x80000001, 1}, {1, 1}, {1}, 1, {0x80000000, 0, 0}, 1},
        {{kMax, 3}, {0, 1}, {3}, 1, {kMax, 0, 0}, 1},
        {{0, 0, 1, 1}, {0, 0, 0, 1}, {1}, 1, {0, 0, 1, 0}, 3},
        {{1, 0, 0, 0, 0, 1, 0, 0x80000000}, {0, 0, 0, 0, 0, 0, 0, 0x80000000}, {1}, 1, {1, 0, 0, 0, 0, 1, 0, 0}, 6},
        // As many zero words as the buffer holds: one of two for a divisor of nine words, both for one of eleven.
        {Words(9, kMax), Words(9, kMax - 1), {1}, 1, Words{1, 1, 1, 1, 1, 1, 1, 1, 1, 0}, 9},
        {Words(11, kMax), Words(11, kMax - 1), {1}, 1, Words{1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 0, 0}, 11},
        // Leading zeros where none are expected: longer than the divisor and yet smaller.
        {{3, 0, 0, 0}, {7, 1}, {}, 0, {3, 0, 0}, 1},
        {{0, 0, 0}, {7}, {}, 0, {0}, 0},
        {{9, 0, 0}, {7, 0}, {1}, 1, {2, 0}, 1},
        // No quotient by zero.
        {{9, 1}, {0, 0, 0}, {}, 0, {}, 0},
        {{9, 1}, {}, {}, 0, {}, 0},
    };
    for (const Division& c : cases) {
        Words num = buffer(c.num);
        Words d = buffer(c.d);
        Words q = buffer();
        Words r = buffer({}, 18);
        int q_top = -1;
        int r_top = -1;
        BN_div(q.data(), &q_top, r.data(), &r_top, num.data(), count(c.num), d.data(), count(c.d));
        EXPECT_EQ(q, buffer(c.q));
        EXPECT_EQ(q_top, c.q_top);
        EXPECT_EQ(r, buffer(c.r, 18));
        EXPECT_EQ(r_top, c.r_top);
        EXPECT_EQ(num, buffer(c.num));
        EXPECT_EQ(d, buffer(c.d));
    }
}

TEST(Inverse, Table) {
    struct Case {
        Words a, n;
        Words r;  ///< the inverse; empty when there is none, or when it is 0
    };
    const Case cases[] = {
        {{3}, {7}, {5}},
        {{1}, {7}, {1}},
        {{6}, {7}, {6}},
        {{10}, {7}, {5}},
        {{3}, {8}, {3}},
        {{0, 1}, {0xFFFFFFFB}, {0xCCCCCCC9}},
        {{1}, kOrder, {1}},
        {predecessor(kOrder), kOrder, predecessor(kOrder)},
        {{5, 0, 0, 0}, {0, 1, 0}, {0xCCCCCCCD}},
        {{3}, {1}, {}},
        // No inverse: zero at any count, a common divisor, no modulus.
        {{}, {7}, {}},
        {Words(8, 0), kOrder, {}},
        {kOrder, kOrder, {}},
        {{6}, {9}, {}},
        {{4, 4}, {8, 1}, {}},
        {{2, 2}, {3, 3}, {}},
        {{3}, {0, 0}, {}},
        {{3}, {}, {}},
    };
    for (const Case& c : cases) {
        for (const bool in_place : {false, true}) {
            Words a = buffer(c.a);
            Words n = buffer(c.n);
            Words other = buffer();
            Words& r = in_place ? a : other;
            const bool invertible = !c.r.empty();
            const Words written = extended(c.r, invertible ? count(c.n) : c.n == Words{1} ? 1 : 8);
            Words expected = r;
            std::copy(written.begin(), written.end(), expected.begin());
            int top = -1;
            BN_mod_inverse(r.data(), &top, a.data(), count(c.a), n.data(), count(c.n));
            EXPECT_EQ(top, count(c.r));
            EXPECT_EQ(r, expected);
            EXPECT_EQ(n, buffer(c.n));
        }
    }
}

TEST(Inverse, TimesTheNumberIsOne) {
    Random random;
    for (int round = 0; round < 200; ++round) {
        Words a = normal(remainder(random_number(random, 8), kOrder));
        if (a.empty()) continue;
        Words n = kOrder;
        Words r = buffer();
        int top = 0;
        BN_mod_inverse(r.data(), &top, a.data(), count(a), n.data(), 8);
        ASSERT_EQ(remainder(product(a, Words(r.begin(), r.begin() + top)), kOrder), Words{1});
    }
}

/// An odd modulus of `len` words: next to 2^(32 len), next to half of it, short, or random.
Words odd_modulus(Random& random, int len, int kind) {
    Words m(static_cast<std::size_t>(len), kind % 4 == 2 ? 0 : kMax);
    if (kind % 4 == 0) m[0] = kMax - 2 * static_cast<unsigned int>(random.up_to(50));
    if (kind % 4 == 1) m.back() = 0x80000000;
    if (kind % 4 == 3) m = random_number(random, len);
    m[0] |= 1;
    if (m[0] == 1) m[0] = 3;
    return m;
}

/// A residue: often one of the extremes 0, m - 1, (m + 1) / 2.
Words residue(Random& random, const Words& m) {
    const int len = count(m);
    switch (random.up_to(5)) {
        case 0:
            return Words(m.size(), 0);
        case 1:
            return predecessor(m);
        case 2: {
            const Words twice = sum(m, {1});
            Words half = buffer(twice, 11);
            int top = 0;
            BN_rshift(half.data(), &top, half.data(), count(twice), 1);
            return extended({half.begin(), half.begin() + top}, len);
        }
        default:
            return extended(normal(remainder(normal(random_words(random, len)), normal(m))), len);
    }
}

class Residues : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Lengths, Residues, testing::Range(1, 10));

TEST_P(Residues, AddSubtractDouble) {
    const int len = GetParam();
    const auto size = static_cast<std::size_t>(len);
    Random random;
    for (int round = 0; round < 400; ++round) {
        Words m = odd_modulus(random, len, round);
        const Words a = residue(random, m);
        const Words b = round % 5 == 0 ? a : residue(random, m);
        const bool carries = count(sum(a, b)) > len;
        for (const int alias : {0, 1, 2}) {
            Words x = buffer(a, size + 2);
            Words y = buffer(b, size + 2);
            Words other = buffer({}, size + 2);
            Words& r = alias == 0 ? other : alias == 1 ? x : y;
            // The word above is zero after a carry, and untouched without one.
            Words added = extended(normal(remainder(normal(sum(a, b)), normal(m))), len);
            if (carries) added.push_back(0);
            BN_mod_add(r.data(), x.data(), y.data(), m.data(), len);
            ASSERT_EQ(r, buffer(added, size + 2)) << "alias " << alias;

            // d = a - b is the residue with d + b = a.
            x = buffer(a, size + 2);
            y = buffer(b, size + 2);
            other = buffer({}, size + 2);
            int top = -1;
            BN_mod_sub(r.data(), &top, x.data(), y.data(), m.data(), len);
            const Words d(r.begin(), r.begin() + len);
            ASSERT_EQ(r, buffer(d, size + 2));
            ASSERT_EQ(extended(normal(remainder(normal(sum(d, b)), normal(m))), len), a) << "alias " << alias;
            Words m_copy = m;
            Words d_copy = d;
            ASSERT_LT(BN_ucmp(d_copy.data(), len, m_copy.data(), len), 0);
            Words u = a;
            Words v = b;
            ASSERT_EQ(top, BN_ucmp(u.data(), len, v.data(), len) < 0 ? len : normal_top(d));
        }
        for (const bool in_place : {false, true}) {
            Words x = buffer(a, size + 2);
            Words other = buffer({}, size + 2);
            Words& r = in_place ? x : other;
            BN_mod_lshift1(r.data(), x.data(), m.data(), len);
            ASSERT_EQ(r, buffer(extended(normal(remainder(normal(sum(a, a)), normal(m))), len), size + 2));
        }
    }
}

TEST(Residues256, SumOfUnreducedNumbersKeepsItsNinthWord) {
    Words a(8, kMax);
    Words m = kOrder;
    Words r = buffer();
    BN_mod_add(r.data(), a.data(), a.data(), m.data(), 8);
    Words expected = sum(sum(a, a), {});
    int top = 0;
    BN_usub(expected.data(), &top, expected.data(), 9, m.data(), 8);
    EXPECT_EQ(r, buffer(expected));
    EXPECT_EQ(r[8], 1U);
}

TEST(Residues256, LengthZeroDoesNothing) {
    Words a = buffer();
    int top = -1;
    BN_mod_add(a.data(), a.data(), a.data(), a.data(), 0);
    BN_mod_sub(a.data(), &top, a.data(), a.data(), a.data(), 0);
    BN_mod_lshift1(a.data(), a.data(), a.data(), 0);
    BN_mod_mul_montgomery(a.data(), a.data(), a.data(), a.data(), 0, 1);
    BN_mod_mul_montgomery_one(a.data(), a.data(), a.data(), 0, 1);
    EXPECT_EQ(top, 0);
    EXPECT_EQ(a, buffer());
}

class Montgomery : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Lengths, Montgomery, testing::Range(1, 9));

// r = a b / R is checked as r R = a b (mod m), r < m; the operands may be any len words, reduced or not.
TEST_P(Montgomery, ProductsAtEveryLength) {
    const int len = GetParam();
    const auto size = static_cast<std::size_t>(len);
    Random random;
    for (int round = 0; round < 300; ++round) {
        Words m = odd_modulus(random, len, round);
        unsigned int nprime = 0;
        Words rr = buffer(Words(size, 0));
        BN_MONT_CTX_set(m.data(), len, &nprime, rr.data());
        ASSERT_EQ(nprime * m[0], kMax);
        Words r_square(2 * size + 1, 0);
        r_square.back() = 1;
        ASSERT_EQ(rr, buffer(extended(remainder(r_square, normal(m)), len)));

        const Words a = residue(random, m);
        const Words b = residue(random, m);
        Words product_result;
        for (const int alias : {0, 1, 2}) {
            Words x = buffer(a);
            Words y = buffer(b);
            Words other = buffer();
            Words& r = alias == 0 ? other : alias == 1 ? x : y;
            BN_mod_mul_montgomery(r.data(), x.data(), y.data(), m.data(), len, nprime);
            const Words got(r.begin(), r.begin() + len);
            ASSERT_EQ(r, buffer(got)) << "a word above was written";
            Words shifted(size, 0);
            shifted.insert(shifted.end(), got.begin(), got.end());
            ASSERT_EQ(remainder(normal(shifted), normal(m)), remainder(normal(product(a, b)), normal(m)));
            Words m_copy = m;
            ASSERT_LT(BN_ucmp(r.data(), len, m_copy.data(), len), 0);
        }
        // Into the form and out of it.
        for (const bool in_place : {false, true}) {
            Words x = buffer(a);
            BN_mod_mul_montgomery(x.data(), x.data(), rr.data(), m.data(), len, nprime);
            Words other = buffer();
            Words& r = in_place ? x : other;
            BN_mod_mul_montgomery_one(r.data(), x.data(), m.data(), len, nprime);
            ASSERT_EQ(r, buffer(a));
        }
    }
}

TEST(MontgomeryConstants, PrimeUnitAndEvenModulus) {
    Words m = kPrime;
    unsigned int nprime = 7;
    Words rr(8, 0);
    BN_MONT_CTX_set(m.data(), 8, &nprime, rr.data());
    EXPECT_EQ(nprime, 1U);
    EXPECT_EQ(rr, (Words{3, 2, kMax, 2, 1, 1, 2, 4}));
    // Lowest word 1; the remainder's words and a zero are stored, so words above a short one stay.
    m = {1, 1, 0, 0};
    rr = buffer();
    BN_MONT_CTX_set(m.data(), 4, &nprime, rr.data());
    EXPECT_EQ(nprime, kMax);
    EXPECT_EQ(rr, buffer({1, 0}));
    m = {2, 1};
    BN_MONT_CTX_set(m.data(), 2, &nprime, rr.data());
    EXPECT_EQ(nprime, 0U);
    EXPECT_EQ(rr, buffer({0, 0}));
    BN_MONT_CTX_set(m.data(), 0, &(nprime = 7), rr.data());
    EXPECT_EQ(nprime, 0U);
}

}  // namespace
