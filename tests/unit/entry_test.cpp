// Entry points that compute nothing: the curve-parameter registry, and the SM1 family with the placeholder primitives,
// where the contract is kept.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "support/curves.hpp"
#include "support/guarded.hpp"

using namespace ulmaro::test;

namespace {

unsigned char* const registry_fields[6] = {g_p_256, g_a_256, g_b_256, g_Gx_256, g_Gy_256, g_Gn_256};

std::string registry() {
    std::string text;
    for (const unsigned char* field : registry_fields) text += to_hex({field, 32});
    return text;
}

std::string get(int type) {
    Guarded<ECCParameter_st> block(1);
    EXPECT_EQ(SM2_Get_Paramter(block.data(), type), 0);
    EXPECT_TRUE(block.intact());
    return to_hex(object_bytes(*block.data()));
}
const std::string at_load = registry() + get(7);

/// Each field from its place in the pattern, unless `null` has its bit set.
int set(unsigned int null, const Bytes& block) {
    const unsigned char* f[6];
    for (unsigned int i = 0; i < 6; ++i) f[i] = (null >> i & 1) != 0 ? nullptr : &block[32 * i];
    return SM2_Set_Custom_Paramter(f[0], f[1], f[2], f[3], f[4], f[5]);
}

TEST(Parameters, StoreIsReadBackAndReplacedWhole) {
    EXPECT_EQ(at_load, std::string(2 * 384, '0'));
    for (const Bytes& block : {pattern(192), Bytes(192, 0x5a), pattern(192)}) {
        EXPECT_EQ(set(0, block), 0);
        EXPECT_EQ(get(7), to_hex(block));
        EXPECT_EQ(registry(), to_hex(block));
    }
    for (unsigned int null = 1; null < 64; ++null) {
        EXPECT_EQ(set(null, Bytes(192, 0x5a)), -1) << null;
        EXPECT_EQ(registry(), to_hex(pattern(192))) << null;
    }
    g_Gn_256[31] ^= 1;
    EXPECT_EQ(get(7), registry()) << "the arrays are the registry, not a copy of it";
    const Curve& c = recommended_curve;
    for (const int type : {0, 1, 6, 8, -1, -7, 7 + 256, 7 + 65536, INT_MIN, INT_MAX}) {
        EXPECT_EQ(get(type), std::string(c.p) + c.a + c.b + c.Gx + c.Gy + c.n) << type;
    }
}

// Sources may be the registry's own arrays or overlap them; the copies are made in order, p first.
TEST(Parameters, SourcesInsideTheRegistry) {
    std::size_t order[6] = {0, 1, 2, 3, 4, 5};
    do {
        Bytes expected = pattern(192);
        set(0, expected);
        const unsigned char* f[6];
        for (std::size_t i = 0; i < 6; ++i) {
            f[i] = registry_fields[order[i]];
            std::memmove(&expected[32 * i], &expected[32 * order[i]], 32);
        }
        ASSERT_EQ(SM2_Set_Custom_Paramter(f[0], f[1], f[2], f[3], f[4], f[5]), 0);
        ASSERT_EQ(registry(), to_hex(expected));
    } while (std::next_permutation(order, order + 6));
}

TEST(Sm1, PrimitivesAndForwardersTouchNothing) {
    auto* bytes = untouchable();
    auto* words = untouchable<unsigned int>();
    EXPECT_EQ(SM1_KEY_INIT(bytes, 16, words, 288, words, 288), 1);
    for (const auto f : {SM1_ECB_EN, SM1_ECB_DE}) f(words, 8, words, words);
    SM1_X_CBC_EN_MODE(bytes, bytes, words, 32, 16, bytes);
    SM1_X_CBC_DE_MODE(bytes, bytes, words, words, 32, 16, bytes);
    for (const auto f : {SM1_KEY_EXTEND, SM1_X_ECB_EN_MODE, SM1_X_ECB_DE_MODE}) {
        f(bytes, bytes, bytes, bytes, bytes, bytes, bytes, bytes);
    }
}

// ECB writes whole blocks of zeros: no stale memory, and a partial block counts as a whole one. CBC writes nothing.
TEST(Sm1, ExtendedModes) {
    for (const int length : {INT_MIN, -16, -1, 0, 1, 15, 16, 17, 32, 4000}) {
        const Bytes text = pattern(length > 0 ? (static_cast<std::size_t>(length) + 15) / 16 * 16 : 0);
        for (const auto f : {SM1_X_ECB_EN_MODE_EX, SM1_X_ECB_DE_MODE_EX}) {
            Guarded<unsigned char> in{std::span<const unsigned char>(text)}, out(text.size());
            EXPECT_EQ(f(untouchable(), 16, untouchable(), in.data(), length, out.data()), 1) << length;
            EXPECT_TRUE(std::ranges::equal(out.span(), Bytes(text.size())) && out.intact()) << length;
            EXPECT_TRUE(std::ranges::equal(in.span(), text));
        }
        for (const auto f : {SM1_X_CBC_EN_MODE_EX, SM1_X_CBC_DE_MODE_EX}) {
            EXPECT_EQ(f(untouchable(), 16, untouchable(), 16, untouchable(), length, untouchable()), 1) << length;
        }
    }
    for (const auto f : {SM1_X_ECB_EN_MODE_EX, SM1_X_ECB_DE_MODE_EX}) {
        for (const int key_len : {-1, 0, 1, 4096}) EXPECT_EQ(f(nullptr, key_len, nullptr, nullptr, 0, nullptr), 1);
    }
}

}  // namespace
