// The curve-parameter registry and the standard curve.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>
#include <cstring>
#include <vector>

#include "UlmaroAlgrithm.h"
#include "support/bytes.hpp"
#include "support/guarded.hpp"

using namespace ulmaro::test;

namespace {

unsigned char* const kRegistry[6] = {g_p_256, g_a_256, g_b_256, g_Gx_256, g_Gy_256, g_Gn_256};

Bytes registry() {
    Bytes bytes;
    for (const unsigned char* field : kRegistry) bytes.insert(bytes.end(), field, field + 32);
    return bytes;
}
const Bytes at_load = registry();

Bytes get(int type) {
    Guarded<ECCParameter_st> block(1);
    EXPECT_EQ(SM2_Get_Paramter(block.data(), type), 0);
    EXPECT_TRUE(block.intact());
    return snapshot(*block.data());
}
const Bytes custom_before_any_store = get(7);

int set(const unsigned char* const (&fields)[6]) {
    return SM2_Set_Custom_Paramter(fields[0], fields[1], fields[2], fields[3], fields[4], fields[5]);
}

int set(const Bytes& block) {
    const unsigned char* const fields[6] = {block.data(),      block.data() + 32,  block.data() + 64,
                                            block.data() + 96, block.data() + 128, block.data() + 160};
    return set(fields);
}

TEST(Parameters, RegistryIsZeroAtLoad) {
    EXPECT_EQ(to_hex(at_load), to_hex(Bytes(192)));
    EXPECT_EQ(to_hex(custom_before_any_store), to_hex(Bytes(192)));
}

TEST(Parameters, EverySelectorButSevenGivesTheStandardCurve) {
    // GM/T 0003.5
    const std::string standard =
        "fffffffeffffffffffffffffffffffffffffffff00000000ffffffffffffffff"
        "fffffffeffffffffffffffffffffffffffffffff00000000fffffffffffffffc"
        "28e9fa9e9d9f5e344d5a9e4bcf6509a7f39789f515ab8f92ddbcbd414d940e93"
        "32c4ae2c1f1981195f9904466a39c9948fe30bbff2660be1715a4589334c74c7"
        "bc3736a2f4f6779c59bdcee36b692153d0a9877cc62a474002df32e52139f0a0"
        "fffffffeffffffffffffffffffffffff7203df6b21c6052b53bbf40939d54123";
    ASSERT_EQ(set(pattern(192)), 0);
    for (const int type : {0, 1, 6, 8, -1, -7, 7 + 256, 7 + 65536, INT_MIN, INT_MAX}) {
        EXPECT_EQ(to_hex(get(type)), standard) << type;
    }
    EXPECT_EQ(to_hex(get(7)), to_hex(pattern(192)));
}

TEST(Parameters, StoreIsReadBackAndReplacedWhole) {
    Bytes first = pattern(192);
    ASSERT_EQ(set(first), 0);
    EXPECT_EQ(get(7), first);
    EXPECT_EQ(registry(), first);
    Bytes second = first;
    for (unsigned char& b : second) b = static_cast<unsigned char>(~b);
    ASSERT_EQ(set(second), 0);
    EXPECT_EQ(get(7), second);
    EXPECT_EQ(registry(), second);

    g_Gn_256[31] ^= 1;
    second[191] ^= 1;
    EXPECT_EQ(get(7), second) << "the arrays are the registry, not a copy of it";
}

TEST(Parameters, AnyNullLeavesTheRegistryAlone) {
    const Bytes stored = pattern(192);
    ASSERT_EQ(set(stored), 0);
    const Bytes other(32, 0x5a);
    for (unsigned int nulls = 1; nulls < 64; ++nulls) {
        const unsigned char* fields[6];
        for (unsigned int i = 0; i < 6; ++i) fields[i] = (nulls >> i & 1) != 0 ? nullptr : other.data();
        EXPECT_EQ(set(fields), -1) << nulls;
        EXPECT_EQ(registry(), stored) << nulls;
    }
}

// Sources may be the registry's own arrays; the copies happen one after another, p first.
TEST(Parameters, SourcesInsideTheRegistry) {
    int order[6] = {0, 1, 2, 3, 4, 5};
    do {
        Bytes expected = pattern(192);
        ASSERT_EQ(set(expected), 0);
        const unsigned char* fields[6];
        for (int i = 0; i < 6; ++i) {
            fields[i] = kRegistry[order[i]];
            std::memmove(expected.data() + 32 * i, expected.data() + 32 * order[i], 32);
        }
        ASSERT_EQ(set(fields), 0);
        ASSERT_EQ(to_hex(registry()), to_hex(expected));
    } while (std::next_permutation(order, order + 6));
}

}  // namespace
