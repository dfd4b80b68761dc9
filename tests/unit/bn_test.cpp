// Basic word-array operations: results, the words that are written and the words that are not, every allowed overlap.
#include <gtest/gtest.h>

#include <cstdint>
#include <initializer_list>

#include "UlmaroAlgrithmInternals.hpp"
#include "bn/bytes.hpp"
#include "support/bytes.hpp"
#include "support/guarded.hpp"
#include "support/numbers.hpp"

using namespace ulmaro::test;

namespace {

TEST(Vectors, CarriesRunThroughAndNothingElseIsWritten) {
    const Words a{kMax, kMax, 7};
    const Words b{1, 0, kMax};
    Words r = buffer();
    EXPECT_EQ(bn_add_words(r.data(), a.data(), b.data(), 3), 1U);
    EXPECT_EQ(r, buffer({0, 0, 7}));
    EXPECT_EQ(bn_sub_words(r.data(), b.data(), a.data(), 3), 0U);
    EXPECT_EQ(r, buffer({2, 0, kMax - 8}));
    EXPECT_EQ(bn_sub_words(r.data(), a.data(), b.data(), 3), 1U);
    EXPECT_EQ(r, buffer({kMax - 1, kMax, 8}));
    const Words ones{kMax, kMax, kMax};
    EXPECT_EQ(bn_mul_words(r.data(), ones.data(), 3, kMax), kMax - 1);
    EXPECT_EQ(r, buffer({1, kMax, kMax}));
    r = buffer(ones);
    EXPECT_EQ(bn_mul_add_words(r.data(), ones.data(), 3, kMax), kMax);
    EXPECT_EQ(r, buffer({0, kMax, kMax}));
    r = buffer();
    for (const int num : {0, -1}) {
        EXPECT_EQ(bn_add_words(r.data(), a.data(), b.data(), num), 0U);
        EXPECT_EQ(bn_sub_words(r.data(), a.data(), b.data(), num), 0U);
        EXPECT_EQ(bn_mul_words(r.data(), a.data(), num, 5), 0U);
        EXPECT_EQ(bn_mul_add_words(r.data(), a.data(), num, 5), 0U);
    }
    EXPECT_EQ(r, buffer());
}

TEST(Vectors, ResultMayBeAnOperand) {
    Random random;
    for (int round = 0; round < 200; ++round) {
        const Words a = random_words(random, 9);
        const Words b = random_words(random, 9);
        for (const auto op : {bn_add_words, bn_sub_words}) {
            Words r(9);
            Words first = a;
            Words second = b;
            const unsigned int out = op(r.data(), a.data(), b.data(), 9);
            EXPECT_EQ(op(first.data(), first.data(), b.data(), 9), out);
            EXPECT_EQ(op(second.data(), a.data(), second.data(), 9), out);
            EXPECT_EQ(first, r);
            EXPECT_EQ(second, r);
        }
        Words r(9);
        Words first = a;
        EXPECT_EQ(bn_mul_words(r.data(), a.data(), 9, b[0]), bn_mul_words(first.data(), first.data(), 9, b[0]));
        EXPECT_EQ(first, r);
    }
}

TEST(DivideWords, IsExactBelowTheDivisor) {
    Random random;
    for (int round = 0; round < 20000; ++round) {
        const unsigned int d = random_number(random, 1)[0] >> random.up_to(31) | 1;
        const unsigned int h = round % 8 == 0 ? d - 1 : random.word() % d;
        const unsigned int l = random_words(random, 1)[0];
        ASSERT_EQ(bn_div_words(h, l, d), ((std::uint64_t{h} << 32) | l) / d) << h << " " << l << " " << d;
    }
    EXPECT_EQ(bn_div_words(5, 6, 0), kMax);
    EXPECT_EQ(bn_div_words(0x80000000, 9, 0x80000000), 0U);
    EXPECT_EQ(bn_div_words(kMax, 9, 0x80000001), 0xFFFFFFFAU);
}

struct Sum {
    Words a, b, sum;
};

TEST(AddSubtract, LengthsAndWords) {
    const Sum cases[] = {
        {{kMax}, {1}, {0, 1}},
        {{kMax, kMax, kMax}, {1}, {0, 0, 0, 1}},
        {{kMax, kMax, 5}, {1}, {0, 0, 6}},
        {{1}, {kMax, 4}, {0, 5}},
        {{3, 4}, {}, {3, 4}},
        {{}, {}, {}},
        {{kMax, 1}, {kMax, kMax}, {kMax - 1, 1, 1}},
    };
    for (const Sum& c : cases) {
        for (const int alias : {0, 1, 2}) {
            Words a = buffer(c.a);
            Words b = buffer(c.b);
            Words other = buffer();
            Words& r = alias == 0 ? other : alias == 1 ? a : b;
            Words expected = r;
            std::copy(c.sum.begin(), c.sum.end(), expected.begin());
            int top = -7;
            EXPECT_EQ(BN_uadd(r.data(), &top, a.data(), count(c.a), b.data(), count(c.b)), 1);
            EXPECT_EQ(r, expected);
            EXPECT_EQ(top, count(c.sum));

            a = buffer(c.sum);
            b = buffer(c.b);
            other = buffer();
            expected = r;
            const Words difference = extended(c.a, count(c.sum));
            std::copy(difference.begin(), difference.end(), expected.begin());
            EXPECT_EQ(BN_usub(r.data(), &top, a.data(), count(c.sum), b.data(), count(c.b)), 1);
            EXPECT_EQ(r, expected);
            EXPECT_EQ(top, count(c.a));
        }
    }
    Words r = buffer();
    Words a{0, 0, 1};
    Words one{1};
    int top = 0;
    BN_usub(r.data(), &top, a.data(), 3, one.data(), 1);
    EXPECT_EQ(r, buffer({kMax, kMax, 0}));
    EXPECT_EQ(top, 2);
    BN_usub(r.data(), &top, a.data(), 3, a.data(), 3);
    EXPECT_EQ(top, 0);
    // A smaller minuend wraps at its own length.
    BN_usub(r.data(), &top, one.data(), 1, a.data(), 1);
    EXPECT_EQ(top, 1);
    a = {2};
    BN_usub(r.data(), &top, one.data(), 1, a.data(), 1);
    EXPECT_EQ(r[0], kMax);
}

TEST(Product, LengthsAndWords) {
    Words max{kMax};
    Words r = buffer({}, 18);
    int top = -1;
    BN_mul(r.data(), &top, max.data(), 1, max.data(), 1);
    EXPECT_EQ(r, buffer({1, kMax - 1}, 18));
    EXPECT_EQ(top, 2);
    r = buffer({}, 18);
    BN_mul(r.data(), &top, max.data(), 1, max.data(), 0);
    EXPECT_EQ(top, 0);
    BN_mul(r.data(), &(top = -1), max.data(), 0, max.data(), 1);
    EXPECT_EQ(top, 0);
    EXPECT_EQ(r, buffer({}, 18));

    // The square of 2^256 - 1, both operand orders, and leading zeros which the plain product keeps.
    Words ones(8, kMax);
    Words square(16, kMax);
    square[0] = 1;
    for (int i = 1; i < 8; ++i) square[static_cast<unsigned>(i)] = 0;
    square[8] = kMax - 1;
    BN_mul_nomal(r.data(), ones.data(), 8, ones.data(), 8);
    EXPECT_EQ(r, buffer(square, 18));
    Words small{3, 0};
    r = buffer({}, 18);
    BN_mul_nomal(r.data(), small.data(), 2, ones.data(), 8);
    Words expected(10, kMax);
    expected[0] = kMax - 2;
    expected[8] = 2;
    expected[9] = 0;
    EXPECT_EQ(r, buffer(expected, 18));
    BN_mul(r.data(), &top, ones.data(), 8, small.data(), 2);
    EXPECT_EQ(r, buffer(expected, 18));
    EXPECT_EQ(top, 9);
}

// Bit i of a number, 0 above its words.
unsigned int bit(const Words& a, int i) {
    const auto word = static_cast<std::size_t>(i / 32);
    return word < a.size() ? (a[word] >> (i % 32)) & 1 : 0;
}

Words shifted(const Words& a, int right, int words) {
    Words r(static_cast<std::size_t>(words), 0);
    for (int i = 0; i < 32 * words; ++i) {
        if (i + right >= 0) r[static_cast<std::size_t>(i / 32)] |= bit(a, i + right) << (i % 32);
    }
    return r;
}

int normal_top(const Words& a) {
    int top = count(a);
    while (top > 0 && a[static_cast<std::size_t>(top) - 1] == 0) --top;
    return top;
}

TEST(Shift, LeftEveryDistance) {
    Random random;
    for (int words = 0; words <= 8; ++words) {
        for (int n = 0; n <= 100; ++n) {
            const Words value = random_number(random, words);
            const Words expected = shifted(value, -n, words + n / 32 + 1);
            Guarded<unsigned int> source{std::span<const unsigned int>(value)};
            Words apart = buffer({}, 14);
            Words in_place = buffer(value, 14);
            int top = -1;
            EXPECT_EQ(BN_lshift(apart.data(), &top, source.data(), words, n), 1);
            EXPECT_EQ(apart, buffer(expected, 14)) << words << " words by " << n;
            EXPECT_EQ(top, normal_top(expected));
            EXPECT_EQ(BN_lshift(in_place.data(), &top, in_place.data(), words, n), 1);
            EXPECT_EQ(in_place, buffer(expected, 14)) << words << " words by " << n;
            EXPECT_EQ(top, normal_top(expected));
        }
    }
}

// Both buffers are the least there are, and end at an inaccessible page.
TEST(Shift, RightEveryDistanceStaysInsideTheBuffers) {
    Random random;
    for (int words = 0; words <= 20; ++words) {
        for (int n = 0; n <= 32 * words + 70; ++n) {
            const Words value = random_number(random, words);
            const bool beyond = words == 0 || n / 32 > words, whole = n % 32 == 0;
            const int kept = beyond ? 0 : words - n / 32;
            Words expected = shifted(value, n, kept);
            const int top_expected = normal_top(expected);
            // By whole words the word above the number comes along, and a zero word follows it; else the zero alone.
            if (whole && !beyond) expected.push_back(room(words) > value.size() ? kStale : 0);
            expected.push_back(0);
            if (beyond) expected.resize(10);
            expected.resize(std::min(expected.size(), room(kept)));
            Guarded<unsigned int> source{std::span<const unsigned int>(whole ? buffer(value, room(words)) : value)};
            Guarded<unsigned int> r{std::span<const unsigned int>(Words(room(kept), ~kStale))};
            Words all(room(kept), ~kStale);
            std::ranges::copy(expected, all.begin());
            int top = -1;
            ASSERT_EQ(BN_rshift(r.data(), &top, source.data(), words, n), beyond ? 0 : 1);
            ASSERT_EQ(Words(r.span().begin(), r.span().end()), all) << words << " words by " << n;
            ASSERT_EQ(top, top_expected);
            ASSERT_TRUE(r.intact());

            Words in_place = buffer(value, room(words));
            all = in_place;
            std::ranges::copy(expected, all.begin());
            BN_rshift(in_place.data(), &top, in_place.data(), words, n);
            ASSERT_EQ(in_place, all) << words << " words by " << n;
            ASSERT_EQ(top, top_expected);
        }
    }
}

TEST(Shift, RightByOneTakesNothingFromAboveTheTop) {
    struct Case {
        Words a, r;
        int top;
    };
    const Case cases[] = {
        {{1}, {0}, 0},
        {{0, 1}, {0x80000000, 0}, 1},
        {{kMax, kMax}, {kMax, 0x7FFFFFFF}, 2},
        {{0, 0, 3}, {0, 0x80000000, 1}, 3},
        {{}, Words(10, 0), 0},
        {{5, 0, 0}, {2, 0, 0}, 2},
        {Words(10, kMax), {kMax, kMax, kMax, kMax, kMax, kMax, kMax, kMax, kMax, 0x7FFFFFFF}, 10},
    };
    for (const Case& c : cases) {
        bignum_st a;
        bignum_st r;
        std::ranges::copy(buffer(c.a), a.words);
        std::ranges::copy(buffer(), r.words);
        int top = -1;
        BN_rshift1(&r, &top, &a, count(c.a));
        EXPECT_EQ(Words(r.words, r.words + 10), buffer(c.r));
        EXPECT_EQ(top, c.top);
        BN_rshift1(&a, &top, &a, count(c.a));
        EXPECT_EQ(Words(a.words, a.words + 10), buffer(c.r));
        EXPECT_EQ(top, c.top);
    }
}

TEST(Compare, LengthsBeforeWords) {
    Words low(9, 0);
    Words high(9, kMax);
    EXPECT_EQ(BN_ucmp(low.data(), 9, high.data(), 8), 1);
    EXPECT_EQ(BN_ucmp(high.data(), 3, low.data(), 8), -5);
    EXPECT_EQ(BN_ucmp(high.data(), 0, low.data(), 0), 0);
    EXPECT_EQ(BN_ucmp(high.data(), 8, high.data(), 8), 0);
    // The highest difference decides; the word above the count does not.
    Words a{9, 5, 7, 1};
    Words b{3, 6, 7, 2};
    EXPECT_EQ(BN_ucmp(a.data(), 3, b.data(), 3), -1);
    EXPECT_EQ(BN_ucmp(b.data(), 3, a.data(), 3), 1);
    EXPECT_EQ(BN_ucmp(a.data(), 1, b.data(), 1), 1);
}

TEST(Tests, ZeroOneSameAndLengths) {
    Words zero = buffer(Words(8, 0));
    Words one = buffer({1, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(BN_is_zero(zero.data(), 8), 1);
    EXPECT_EQ(BN_is_zero(zero.data(), 9), 0);
    EXPECT_EQ(BN_is_zero(zero.data(), 0), 1);
    EXPECT_EQ(BN_is_zero(one.data(), 8), 0);
    EXPECT_EQ(BN_is_one(one.data(), 8), 1);
    EXPECT_EQ(BN_is_one(one.data(), 9), 0);
    EXPECT_EQ(BN_is_one(zero.data(), 8), 0);
    Words top_too = one;
    top_too[7] = 1;
    EXPECT_EQ(BN_is_one(top_too.data(), 8), 0);
    EXPECT_EQ(BN_is_one(top_too.data(), 7), 1);

    EXPECT_EQ(two_number_same(one.data(), 8, one.data()), 0);
    EXPECT_EQ(two_number_same(one.data(), 8, top_too.data()), 1);
    EXPECT_EQ(two_number_same(one.data(), 7, top_too.data()), 0);
    EXPECT_EQ(two_number_same(one.data(), 0, zero.data()), 0);
    EXPECT_EQ(two_number_same(one.data(), -1, zero.data()), 0);

    int top = 8;
    bn_fix_top(one.data(), &top);
    EXPECT_EQ(top, 1);
    bn_fix_top(zero.data(), &(top = 8));
    EXPECT_EQ(top, 0);
    EXPECT_EQ(BN_num_bits(one.data(), 8), 1);
    EXPECT_EQ(BN_num_bits(one.data(), 0), 0);
    EXPECT_EQ(BN_num_bits(zero.data(), 8), 0);
    EXPECT_EQ(BN_num_bits(top_too.data(), 8), 225);
    EXPECT_EQ(BN_num_bits_word(0), 0);
    for (int i = 0; i < 32; ++i) {
        EXPECT_EQ(BN_num_bits_word(1U << i), i + 1);
        EXPECT_EQ(BN_num_bits_word(kMax >> i), 32 - i);
    }
}

TEST(Bytes, BigEndianBothWays) {
    Bytes bytes(32);
    for (unsigned int i = 0; i < 32; ++i) bytes[i] = static_cast<unsigned char>(i);
    bignum_st number;
    std::ranges::copy(buffer(), number.words);
    ulmaro::bn::from_be32(number, bytes.data());
    EXPECT_EQ(Words(number.words, number.words + 10), (Words{0x1C1D1E1F, 0x18191A1B, 0x14151617, 0x10111213, 0x0C0D0E0F,
                                                             0x08090A0B, 0x04050607, 0x00010203, 0, 0}));
    Bytes back(34, 0xEE);
    ulmaro::bn::to_be32(back.data() + 1, number.words);
    EXPECT_EQ(back.front(), 0xEE);
    EXPECT_EQ(back.back(), 0xEE);
    EXPECT_EQ(Bytes(back.begin() + 1, back.end() - 1), bytes);
}

TEST(Bytes, ExportedUtilities) {
    struct Case {
        const char* in;
        int mode;
        const char* out;
    };
    const Case cases[] = {
        {"0102030405060708", 1, "0403020108070605"},
        {"0102030405060708", 0, "0506070801020304"},
        {"010203040506", 1, "040302010605"},
        {"010203040506", 0, "030405060102"},
        {"01020304050607", -5, "04030201070605"},
        {"010203", 1, "030201"},
        {"010203", 0, "010203"},
        {"01", 1, "01"},
        {"", 0, ""},
    };
    for (const Case& c : cases) {
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
