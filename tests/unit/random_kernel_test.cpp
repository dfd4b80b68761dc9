// The hardened library's scalars, over a replaced kernel call.
#include <gtest/gtest.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <functional>

#include "UlmaroAlgrithm.h"
#include "base/random.hpp"
#include "support/curves.hpp"
#include "support/random.hpp"

namespace {

std::function<ssize_t(unsigned char*, std::size_t)> kernel;
int libc_calls = 0;

}  // namespace

extern "C" {

ssize_t getrandom(void* buf, std::size_t size, unsigned int) { return kernel(static_cast<unsigned char*>(buf), size); }

int rand() noexcept { return ++libc_calls; }

void srand(unsigned int) noexcept { ++libc_calls; }
}

namespace ulmaro::test {
namespace {

using Words = std::array<std::uint32_t, 8>;

Words draw(const Words& order) {
    Words k;
    draw_scalar(k, order);
    return k;
}

TEST(KernelRandom, TakesWhatTheKernelGivesPieceByPiece) {
    int call = 0;
    unsigned char next = 0;
    kernel = [&](unsigned char* out, std::size_t size) -> ssize_t {
        if (++call % 3 == 0) {
            errno = EINTR;
            return -1;
        }
        const std::size_t count = std::min<std::size_t>(size, 5);
        for (std::size_t i = 0; i < count; ++i) out[i] = next++;
        return static_cast<ssize_t>(count);
    };
    const Words order = {0, 0, 0, 0, 0, 0, 0, 0xffffffff};
    EXPECT_EQ(draw(order),
              (Words{0x03020100, 0x07060504, 0x0b0a0908, 0x0f0e0d0c, 0x13121110, 0x17161514, 0x1b1a1918, 0x1f1e1d1c}));
    EXPECT_EQ(next, 32);
}

TEST(KernelRandom, EndsTheProcessWithoutRandomness) {
    for (const ssize_t answer : {-1, 0}) {
        kernel = [answer](unsigned char*, std::size_t) {
            errno = ENOSYS;
            return answer;
        };
        EXPECT_DEATH(draw({1, 0, 0, 0, 0, 0, 0, 1}), "^UlmaroAlgrithm: the kernel gives no random bytes\n");
    }
}

TEST(KernelRandom, RejectsWhatIsNotBelowTheOrder) {
    const Words order = {0x39d54123, 0x53bbf409, 0x21c6052b, 0x7203df6b, ~0U, ~0U, ~0U, 0xfffffffe};
    Words given = order;
    kernel = [&](unsigned char* out, std::size_t size) {
        std::memcpy(out, given.data(), size);
        return static_cast<ssize_t>(size);
    };
    EXPECT_EQ(draw(order), Words{});
    given[0] -= 1;
    EXPECT_EQ(draw(order), given);
    given = {0, 0, 0, 0, 0, 0, 0, 0xffffffff};
    EXPECT_EQ(draw(order), Words{});
    given = {9, 0, 0, 0, 0, 0, 0, 0xfffffffd};
    EXPECT_EQ(draw({0, 0, 0, 0, 0, 0, 0, 6}), (Words{9, 0, 0, 0, 0, 0, 0, 5})) << "cut to the length of the order";
}

TEST(KernelRandom, SpreadsEvenlyBelowASmallTopWord) {
    Random random;
    kernel = [&](unsigned char* out, std::size_t size) {
        const Bytes bytes = random.bytes(size);
        std::copy(bytes.begin(), bytes.end(), out);
        return static_cast<ssize_t>(size);
    };
    std::array<int, 6> seen = {};
    const Words order = {0, 0, 0, 0, 0, 0, 0, 6};
    for (int i = 0; i < 6000;) {
        const Words k = draw(order);
        ASSERT_LT(k[7], 6U);
        if (k == Words{}) continue;
        ++seen[k[7]];
        ++i;
    }
    for (const int count : seen) EXPECT_NEAR(count, 1000, 200);
}

TEST(KernelRandom, LeavesTheLibcGeneratorAlone) {
    kernel = [](unsigned char* out, std::size_t size) {
        std::memset(out, 0x42, size);
        return static_cast<ssize_t>(size);
    };
    const ec_group_st grp = prepare(kRecommended);
    ECC_PUBLIC_KEY pub;
    ECC_PRIVATE_KEY key;
    SM2_ECC_GenerateKeyPair(&grp, &pub, &key);
    EXPECT_EQ(Bytes(key.d, key.d + 32), Bytes(32, 0x42));
    EXPECT_EQ(libc_calls, 0);
}

}  // namespace
}  // namespace ulmaro::test
