// The digits of the non-adjacent forms, for scalars of every shape.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <utility>

#include "UlmaroAlgrithmInternals.hpp"
#include "support/random.hpp"

namespace ulmaro::test {
namespace {

struct Free {
    void operator()(signed char* p) const { std::free(p); }
};

/// sum of digits[i] 2^i, modulo 2^320.
bignum_st value_of(const signed char* digits, int count) {
    bignum_st v = {};
    for (int i = count; i-- > 0;) {
        int top = 0;
        BN_lshift(v.words, &top, v.words, 9, 1);
        std::int64_t carry = digits[i];
        for (unsigned int& word : v.words) {
            carry += word;
            word = static_cast<unsigned int>(carry);
            carry >>= 32;
        }
    }
    return v;
}

void check(const bignum_st& given, int len, int w) {
    SCOPED_TRACE(testing::Message() << "w " << w << " len " << len << " words[0] " << given.words[0]);
    bignum_st scalar = given, wanted = {};
    std::copy_n(given.words, len, wanted.words);
    int count = -1;
    const std::unique_ptr<signed char, Free> digits(compute_wNAF(&scalar, w, len, &count));
    ASSERT_NE(digits, nullptr);
    EXPECT_EQ(snapshot(scalar), snapshot(given)) << "the scalar changed";
    ASSERT_LE(count, BN_num_bits(wanted.words, len) + 1);
    EXPECT_EQ(snapshot(value_of(digits.get(), count)), snapshot(wanted));
    EXPECT_TRUE(count == 0 || digits.get()[count - 1] != 0) << "trailing zeros";
    int last = -w - 1;
    for (int i = 0; i < count; ++i) {
        const int d = digits.get()[i];
        if (d == 0) continue;
        EXPECT_NE(d % 2, 0);
        EXPECT_LT(std::abs(d), 1 << w);
        EXPECT_GT(i - last, w);
        last = i;
    }
}

TEST(Wnaf, ReconstructsScalarsOfEveryShape) {
    Random random;
    for (int w = 1; w <= 7; ++w) {
        for (int bit = 0; bit < 256; bit += 5) {
            bignum_st power, run;
            power = {};
            power.words[bit / 32] = 1U << (bit % 32);
            bignum_st one = {{1}};
            int top = 0;
            run = power;
            BN_usub(run.words, &top, power.words, 8, one.words, 8);
            for (bignum_st* s : {&power, &run}) {
                s->words[8] = s->words[9] = 0xdeadbeef;  // never looked at
                check(*s, 8, w);
            }
        }
        for (int i = 0; i < 20; ++i) {
            bignum_st s;
            for (unsigned int& word : s.words) word = random.word();
            for (const int len : {0, 1, 7, 8}) check(s, len, w);
        }
    }
}

TEST(Wnaf, OnesEndInADigitAboveTheirLength) {
    bignum_st ones;
    std::memset(&ones, 0xff, sizeof ones);
    int count = 0;
    const std::unique_ptr<signed char, Free> digits(compute_wNAF(&ones, 3, 8, &count));
    ASSERT_EQ(count, 257);
    EXPECT_EQ(digits.get()[0], -1);
    EXPECT_EQ(digits.get()[256], 1);
}

TEST(Wnaf, BringsWidthAndLengthIntoRange) {
    bignum_st s = {{0xabcdef, 7}};
    for (const auto& [w, len] : {std::pair(-5, 2), {0, 2}, {8, 2}, {1000, 2}, {3, -4}, {3, 99}}) {
        int count = -1;
        const std::unique_ptr<signed char, Free> digits(compute_wNAF(&s, w, len, &count));
        const bignum_st wanted = len > 0 ? s : bignum_st{};
        EXPECT_EQ(snapshot(value_of(digits.get(), count)), snapshot(wanted)) << w << ' ' << len;
    }
}

}  // namespace
}  // namespace ulmaro::test
