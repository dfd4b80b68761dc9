// Every SM3 kernel that this processor can run: one stream against the portable kernel, lanes against a reference, and
// the digests of counted messages against their hashes one by one.
#include <gtest/gtest.h>

#include <algorithm>
#include <string_view>

#include "UlmaroAlgrithm.h"
#include "sm3/counter_digests.hpp"
#include "sm3/kernels.hpp"
#include "support/bytes.hpp"
#include "support/counted_message.hpp"
#include "support/guarded.hpp"
#include "support/random.hpp"
#include "support/sm3_reference.hpp"

using namespace ulmaro::test;
using ulmaro::sm3::CounterMessage;
using ulmaro::sm3::Kernels;

namespace {

constexpr std::string_view kNames[] = {
#if defined(__x86_64__)
    "x86-avx512", "x86-avx2",
#elif defined(__aarch64__)
    "arm-sm3", "arm-neon",
#endif
    "portable"};

class Sm3Kernels : public testing::TestWithParam<std::string_view> {
protected:
    void SetUp() override {
        const auto all = ulmaro::sm3::supported_kernels();
        const auto found = std::ranges::find(all, GetParam(), &Kernels::name);
        if (found == all.end()) GTEST_SKIP() << "this processor cannot run " << GetParam();
        kernels_ = *found;
    }

    const Kernels* kernels_ = nullptr;
    Random random_;
};

INSTANTIATE_TEST_SUITE_P(, Sm3Kernels, testing::ValuesIn(kNames), [](const auto& kernel) {
    std::string name(kernel.param);
    std::ranges::replace(name, '-', '_');
    return name;
});

std::vector<unsigned int> words(Random& random, std::size_t count) {
    std::vector<unsigned int> result(count);
    std::ranges::generate(result, [&] { return random.word(); });
    return result;
}

TEST(Sm3KernelList, IsKnownAndEndsWithThePortableOne) {
    const auto all = ulmaro::sm3::supported_kernels();
    for (const Kernels* k : all) EXPECT_NE(std::ranges::find(kNames, k->name), std::end(kNames)) << k->name;
    EXPECT_EQ(all.back(), &ulmaro::sm3::portable_kernels);
    EXPECT_EQ(&ulmaro::sm3::active_kernels(), all.front());
}

TEST_P(Sm3Kernels, OneStreamIsThatOfThePortableKernel) {
    for (std::size_t blocks = 0; blocks <= 40; ++blocks) {
        for (std::size_t offset = 0; offset < 5; ++offset) {
            // The data ends where memory ends when offset is 0, and off every alignment otherwise.
            Guarded<unsigned char> data(64 * blocks + offset);
            std::ranges::copy(random_.bytes(64 * blocks), data.data());
            const auto start = words(random_, 8);
            auto expected = start, actual = start;
            ulmaro::sm3::portable_kernels.compress(expected.data(), data.data(), blocks);
            kernels_->compress(actual.data(), data.data(), blocks);
            ASSERT_EQ(actual, expected) << blocks << " blocks";
        }
    }
}

TEST_P(Sm3Kernels, LanesAreTheReferenceInEveryLane) {
    const std::size_t lanes = kernels_->lanes;
    if (lanes == 1) GTEST_SKIP() << "no lanes";
    struct alignas(64) Rows {
        std::uint32_t v[8 * ulmaro::sm3::kMaxLanes], result[8 * ulmaro::sm3::kMaxLanes];
        std::uint32_t w[68 * ulmaro::sm3::kMaxLanes], common[4 * 68];
    } rows;
    std::vector<unsigned int> constants(64);
    for (int j = 0; j < 64; ++j) constants[static_cast<std::size_t>(j)] = sm3_constant(j);
    for (int run = 0; run < 20; ++run) {
        const std::size_t row = run % 2 == 0 ? lanes : 0, stride = random_.up_to(3);
        std::ranges::generate(rows.v, [&] { return random_.word(); });
        std::ranges::generate(rows.w, [&] { return random_.word(); });
        std::ranges::generate(rows.common, [&] { return random_.word(); });
        const Rows before = rows;
        kernels_->expand_lanes(rows.w);
        kernels_->compress_lanes(rows.v, rows.result, rows.w, row, rows.common, stride);
        kernels_->compress_lanes(rows.v, rows.v, rows.w, row, rows.common, stride);
        for (std::size_t lane = 0; lane < lanes; ++lane) {
            std::vector<unsigned int> block;
            for (std::size_t j = 0; j < 16; ++j) block.push_back(before.w[j * lanes + lane]);
            Sm3Schedule schedule = sm3_expand(block);
            for (std::size_t j = 0; j < 68; ++j) {
                ASSERT_EQ(rows.w[j * lanes + lane], schedule.w[j]) << "lane " << lane;
                schedule.w[j] = rows.w[j * row + lane] ^ rows.common[j * stride];
            }
            for (std::size_t j = 0; j < 64; ++j) schedule.w_prime[j] = schedule.w[j] ^ schedule.w[j + 4];
            Words8 v;
            for (std::size_t i = 0; i < 8; ++i) v[i] = before.v[i * lanes + lane];
            const Words8 expected = sm3_compress(v, schedule, constants);
            for (std::size_t i = 0; i < 8; ++i) {
                ASSERT_EQ(rows.result[i * lanes + lane], expected[i]) << "lane " << lane;
                ASSERT_EQ(rows.v[i * lanes + lane], expected[i]) << "in place, lane " << lane;
            }
        }
    }
}

Bytes hash_with_counter(Bytes z, std::uint32_t counter) {
    for (const unsigned char b : be_bytes(std::span(&counter, 1))) z.push_back(b);
    Bytes digest(32);
    SM3_HASH(z.data(), static_cast<int>(z.size()), digest.data());
    return digest;
}

/// Every size from 0 to beyond three groups of lanes for one z and first counter, cut off word edges too.
void check_sizes(const Kernels& kernels, const Bytes& z, std::uint32_t first) {
    Bytes stream;
    for (std::uint32_t i = 0; i < 3 * kernels.lanes + 2; ++i) {
        const Bytes digest = hash_with_counter(z, first + i);
        stream.insert(stream.end(), digest.begin(), digest.end());
    }
    for (std::size_t size = 0; size <= stream.size(); size += size % 32 == 0 ? 1 : size % 32 == 1 ? 30 : 1) {
        CounterMessage message = counted(z);
        Guarded<unsigned char> out(size);
        ulmaro::sm3::counter_digests(kernels, message, first, out.data(), size);
        ASSERT_TRUE(std::ranges::equal(out.span(), std::span(stream).first(size)))
            << kernels.name << ", zLen " << z.size() << ", first " << first << ", " << size << " bytes";
        ASSERT_TRUE(out.intact());
    }
}

TEST_P(Sm3Kernels, CountedMessagesOfEveryLength) {
    for (std::size_t z_len = 0; z_len <= 130; ++z_len) check_sizes(*kernels_, random_.bytes(z_len), 1);
}

TEST_P(Sm3Kernels, CountersFromEveryLaneAndAcrossTheWrap) {
    for (const std::size_t z_len : {0U, 50U, 61U, 63U}) {
        const Bytes z = random_.bytes(z_len);
        for (std::uint32_t lane = 0; lane < kernels_->lanes; ++lane) {
            check_sizes(*kernels_, z, 0x00ffffe0 + lane);
            check_sizes(*kernels_, z, 0xffffffe0 + lane);
        }
    }
}

TEST_P(Sm3Kernels, MoreGroupsThanOneExpansionServes) {
    const std::size_t count = (2 * kernels_->lanes + 3) * kernels_->lanes;
    for (const std::size_t z_len : {0U, 30U, 62U, 64U}) {
        const Bytes z = random_.bytes(z_len);
        CounterMessage message = counted(z);
        Bytes out(32 * count);
        ulmaro::sm3::counter_digests(*kernels_, message, 1, out.data(), out.size());
        for (std::uint32_t i = 0; i < count; ++i) {
            ASSERT_TRUE(std::ranges::equal(hash_with_counter(z, i + 1), std::span(out).subspan(32 * i, 32))) << i;
        }
    }
}

}  // namespace
