// Number routines where their oracle does not reach: words above a remainder, operands that are not numbers, invalid
// lengths, and the byte utilities.
#include <gtest/gtest.h>

#include "UlmaroAlgrithmInternals.hpp"
#include "support/bytes.hpp"
#include "support/guarded.hpp"
#include "support/numbers.hpp"

using namespace ulmaro::test;

namespace {

const Words recommended_order{0x39D54123, 0x53BBF409, 0x21C6052B, 0x7203DF6B, ones, ones, ones, 0xFFFFFFFE};

TEST(Division, WordsWritten) {
    struct {
        Words num, d;
        Words q;  ///< quotient words written
        int q_top;
        Words r;  ///< remainder words written, the zero words above the value included
        int r_top;
    } const cases[] = {
#include "vectors/division.inc"
    };
    for (const auto& c : cases) {
        Words num = buffer(c.num), d = buffer(c.d), q = buffer(), r = buffer({}, 18);
        int q_top = -1, r_top = -1;
        BN_div(q.data(), &q_top, r.data(), &r_top, num.data(), count(c.num), d.data(), count(c.d));
        EXPECT_EQ(q, buffer(c.q));
        EXPECT_EQ(r, buffer(c.r, 18));
        EXPECT_TRUE(q_top == c.q_top && r_top == c.r_top && num == buffer(c.num) && d == buffer(c.d));
    }
}

// The remainder and one zero word are stored, so words above a short one stay; an even modulus clears its own.
TEST(MontgomeryConstants, StaleWordsAbove) {
    Words one{1, 1, 0, 0}, even{2, 1}, rr = buffer();
    unsigned int nprime = 7;
    BN_MONT_CTX_set(one.data(), 4, &nprime, rr.data());
    EXPECT_EQ(nprime, ones);
    EXPECT_EQ(rr, buffer({1, 0}));
    BN_MONT_CTX_set(even.data(), 2, &nprime, rr.data());
    EXPECT_EQ(nprime, 0U);
    EXPECT_EQ(rr, buffer({0, 0}));
}

// Sums of unreduced numbers keep their ninth word.
TEST(Residues, OperandsNeedNotBeReduced) {
    Words a(8, ones), m = recommended_order, r = buffer(), twice(9, ones);
    BN_mod_add(r.data(), a.data(), a.data(), m.data(), 8);
    twice[0] = ones - 1;
    twice[8] = 1;
    int top = 0;
    BN_usub(twice.data(), &top, twice.data(), 9, m.data(), 8);
    EXPECT_EQ(r, buffer(twice));
    EXPECT_EQ(r[8], 1U);
}

TEST(Residues, LengthZeroDoesNothing) {
    Words a = buffer();
    int top = -1;
    BN_mod_add(a.data(), a.data(), a.data(), a.data(), 0);
    BN_mod_sub(a.data(), &top, a.data(), a.data(), a.data(), 0);
    BN_mod_lshift1(a.data(), a.data(), a.data(), 0);
    BN_mod_mul_montgomery(a.data(), a.data(), a.data(), a.data(), 0, 1);
    BN_mod_mul_montgomery_one(a.data(), a.data(), a.data(), 0, 1);
    unsigned int nprime = 7;
    BN_MONT_CTX_set(a.data(), 0, &nprime, a.data());
    EXPECT_EQ(nprime, 0U);
    EXPECT_EQ(top, 0);
    EXPECT_EQ(a, buffer());
}

TEST(Lengths, CountBeforeWordsAndMayBeNegative) {
    Words low(9, 0), high(9, ones), r = buffer();
    EXPECT_EQ(BN_ucmp(low.data(), 9, high.data(), 8), 1);
    EXPECT_EQ(BN_ucmp(high.data(), 3, low.data(), 8), -5);
    EXPECT_EQ(BN_ucmp(high.data(), 0, low.data(), 0), 0);
    for (const int none : {0, -1}) {
        EXPECT_EQ(two_number_same(low.data(), none, high.data()), 0);
        EXPECT_EQ(BN_num_bits(high.data(), none), 0);
    }
    for (int i = 0; i < 32; ++i) EXPECT_EQ(BN_num_bits_word(ones >> i), 32 - i);
    EXPECT_EQ(BN_num_bits_word(0), 0);
    // A smaller minuend wraps at its own length, and an overflowing quotient word is whatever the steps make it.
    Words one{1}, two{2};
    int top = 0;
    BN_usub(r.data(), &top, one.data(), 1, two.data(), 1);
    EXPECT_EQ(r, buffer({ones}));
    EXPECT_EQ(top, 1);
    EXPECT_EQ(bn_div_words(ones, 9, 0x80000001), 0xFFFFFFFAU);
}

TEST(Bytes, ExportedUtilities) {
    constexpr struct {
        const char* in;
        int mode;
        const char* out;
    } cases[] = {
#include "vectors/exchange.inc"
    };
    for (const auto& c : cases) {
        const Bytes in = from_hex(c.in);
        Guarded<unsigned char> buf{std::span<const unsigned char>(in)};
        Exchange_DWORD(buf.data(), static_cast<unsigned int>(in.size()), c.mode);
        EXPECT_EQ(to_hex(buf.span()), c.out) << c.in << " mode " << c.mode;
        EXPECT_TRUE(buf.intact());
    }
    for (const auto& [in, out] : {std::pair{"0102030405", "0504030201"}, {"0102", "0201"}, {"07", "07"}, {"", ""}}) {
        Bytes buf = from_hex(in);
        Exchange(buf.data(), static_cast<unsigned int>(buf.size()));
        EXPECT_EQ(to_hex(buf), out);
        Bytes source = from_hex(in);
        Bytes copy(source.size());
        EXPECT_EQ(sm2_copy(copy.data(), source.data(), static_cast<int>(source.size())), copy.data());
        EXPECT_EQ(to_hex(copy), out);
    }
    unsigned char one = 1;
    unsigned char two = 2;
    EXPECT_EQ(sm2_copy(&one, &two, -1), &one);
    EXPECT_EQ(one, 1);
}

}  // namespace
