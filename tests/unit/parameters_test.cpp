// The curve-parameter registry and the standard curve.
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

int set(const unsigned char* const (&fields)[6]) {
    return SM2_Set_Custom_Paramter(fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]);
}

/// 192 bytes, 32 per array.
std::string set(const Bytes& block) {
    const unsigned char* fields[6];
    for (std::size_t i = 0; i < 6; ++i) fields[i] = &block[32 * i];
    EXPECT_EQ(set(fields), 0);
    return to_hex(block);
}

TEST(Parameters, StoreIsReadBackAndReplacedWhole) {
    EXPECT_EQ(at_load, std::string(2 * 384, '0'));
    for (const Bytes& block : {pattern(192), Bytes(192, 0x5a), pattern(192)}) {
        const std::string stored = set(block);
        EXPECT_EQ(get(7), stored);
        EXPECT_EQ(registry(), stored);
    }
    g_Gn_256[31] ^= 1;
    EXPECT_EQ(get(7), registry()) << "the arrays are the registry, not a copy of it";
    const Curve& c = recommended_curve;
    for (const int type : {0, 1, 6, 8, -1, -7, 7 + 256, 7 + 65536, INT_MIN, INT_MAX}) {
        EXPECT_EQ(get(type), std::string(c.p) + c.a + c.b + c.Gx + c.Gy + c.n) << type;
    }
}

TEST(Parameters, AnyNullLeavesTheRegistryAlone) {
    const std::string stored = set(pattern(192));
    const Bytes other(32, 0x5a);
    for (unsigned int nulls = 1; nulls < 64; ++nulls) {
        const unsigned char* fields[6];
        for (unsigned int i = 0; i < 6; ++i) fields[i] = (nulls >> i & 1) != 0 ? nullptr : other.data();
        EXPECT_EQ(set(fields), -1) << nulls;
        EXPECT_EQ(registry(), stored) << nulls;
    }
}

// Sources may be the registry's own arrays or overlap them; the copies are made in order, p first.
TEST(Parameters, SourcesInsideTheRegistry) {
    int order[6] = {0, 1, 2, 3, 4, 5};
    do {
        Bytes expected = pattern(192);
        set(expected);
        const unsigned char* fields[6];
        for (int i = 0; i < 6; ++i) {
            fields[i] = registry_fields[order[i]];
            std::memmove(&expected[static_cast<std::size_t>(32 * i)],
                         &expected[static_cast<std::size_t>(32 * order[i])], 32);
        }
        ASSERT_EQ(set(fields), 0);
        ASSERT_EQ(registry(), to_hex(expected));
    } while (std::next_permutation(order, order + 6));
}

}  // namespace
