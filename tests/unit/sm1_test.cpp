// The SM1 family with the placeholder primitives: the contract is kept, nothing is computed.
#include <gtest/gtest.h>

#include <algorithm>
#include <climits>

#include "UlmaroAlgrithm.h"
#include "support/bytes.hpp"
#include "support/guarded.hpp"

using namespace ulmaro::test;

namespace {

TEST(Sm1, PrimitivesAndForwardersTouchNothing) {
    auto* bytes = untouchable();
    auto* words = untouchable<unsigned int>();
    for (const auto f : {KEY_INIT, SM1_KEY_INIT}) EXPECT_EQ(f(bytes, 16, words, 288, words, 288), 1);
    for (const auto f : {ECB_EN, SM1_ECB_EN, ECB_DE, SM1_ECB_DE}) f(words, 8, words, words);
    for (const auto f : {X_CBC_EN_MODE, SM1_X_CBC_EN_MODE}) f(bytes, bytes, words, 32, 16, bytes);
    for (const auto f : {X_CBC_DE_MODE, SM1_X_CBC_DE_MODE}) f(bytes, bytes, words, words, 32, 16, bytes);
    for (const auto f :
         {KEY_EXTEND, X_ECB_EN_MODE, X_ECB_DE_MODE, SM1_KEY_EXTEND, SM1_X_ECB_EN_MODE, SM1_X_ECB_DE_MODE}) {
        f(bytes, bytes, bytes, bytes, bytes, bytes, bytes, bytes);
    }
}

// Whole blocks of zeros: no stale memory, and a partial block counts as a whole one.
TEST(Sm1, EcbWritesZeroBlocks) {
    for (const auto f : {SM1_X_ECB_EN_MODE_EX, SM1_X_ECB_DE_MODE_EX}) {
        for (const int length : {INT_MIN, -16, -1, 0, 1, 15, 16, 17, 32, 4000}) {
            const Bytes text = pattern(length > 0 ? (static_cast<std::size_t>(length) + 15) / 16 * 16 : 0);
            Guarded<unsigned char> in{std::span<const unsigned char>(text)}, out(text.size());
            EXPECT_EQ(f(untouchable(), 16, untouchable(), in.data(), length, out.data()), 1) << length;
            EXPECT_TRUE(std::ranges::equal(out.span(), Bytes(text.size())) && out.intact()) << length;
            EXPECT_TRUE(std::ranges::equal(in.span(), text));
        }
        for (const int key_len : {-1, 0, 1, 4096}) EXPECT_EQ(f(nullptr, key_len, nullptr, nullptr, 0, nullptr), 1);
    }
}

TEST(Sm1, CbcWritesNothing) {
    for (const auto f : {SM1_X_CBC_EN_MODE_EX, SM1_X_CBC_DE_MODE_EX}) {
        for (const int length : {INT_MIN, -1, 0, 1, 16, 17, 4096}) {
            EXPECT_EQ(f(untouchable(), 16, untouchable(), 16, untouchable(), length, untouchable()), 1) << length;
        }
    }
}

}  // namespace
