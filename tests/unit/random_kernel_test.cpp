// The hardened library's scalars, with the kernel call replaced.
#include <gtest/gtest.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>
#include <random>

#include "base/random.hpp"
#include "support/bytes.hpp"

namespace {

std::function<ssize_t(unsigned char*, std::size_t)> kernel;

}  // namespace

extern "C" ssize_t getrandom(void* buf, std::size_t size, unsigned int) {
    return kernel(static_cast<unsigned char*>(buf), size);
}

namespace ulmaro::test {
namespace {

using Scalar = std::array<std::uint32_t, 8>;

Scalar draw(const Scalar& order) {
    Scalar k;
    draw_scalar(k, order);
    return k;
}

/// The kernel returns this scalar.
Scalar draw(const Scalar& order, const Scalar& given) {
    kernel = [&](unsigned char* out, std::size_t size) {
        std::memcpy(out, given.data(), size);
        return static_cast<ssize_t>(size);
    };
    return draw(order);
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
    const Scalar all = draw({0, 0, 0, 0, 0, 0, 0, 0xffffffff});
    for (std::size_t i = 0; i < 32; ++i) EXPECT_EQ(snapshot(all)[i], i);
    EXPECT_EQ(next, 32);
}

// Rather than asking forever.
TEST(KernelRandom, EndsTheProcessWithoutRandomness) {
    for (const ssize_t answer : {-1, 0}) {
        kernel = [answer, calls = 0](unsigned char*, std::size_t) mutable {
            if (++calls > 1000) std::_Exit(1);
            errno = answer == 0 ? EINTR : ENOSYS;
            return answer;
        };
        EXPECT_EXIT(draw({1, 0, 0, 0, 0, 0, 0, 1}), testing::KilledBySignal(SIGABRT),
                    "^UlmaroAlgrithm: the kernel gives no random bytes\n");
    }
}

TEST(KernelRandom, RejectsWhatIsNotBelowTheOrder) {
    const Scalar order = {0x39d54123, 0x53bbf409, 0x21c6052b, 0x7203df6b, ~0U, ~0U, ~0U, 0xfffffffe};
    EXPECT_EQ(draw(order, order), Scalar{});
    Scalar below = order;
    below[0] -= 1;
    EXPECT_EQ(draw(order, below), below);
    EXPECT_EQ(draw(order, {0, 0, 0, 0, 0, 0, 0, 0xffffffff}), Scalar{});
    EXPECT_EQ(draw({0, 0, 0, 0, 0, 0, 0, 6}, {9, 0, 0, 0, 0, 0, 0, 0xfffffffd}), (Scalar{9, 0, 0, 0, 0, 0, 0, 5}))
        << "cut to the length of the order";
}

TEST(KernelRandom, SpreadsEvenlyBelowASmallTopWord) {
    kernel = [random = std::mt19937(1)](unsigned char* out, std::size_t size) mutable {
        std::generate_n(out, size, [&] { return static_cast<unsigned char>(random()); });
        return static_cast<ssize_t>(size);
    };
    std::array<int, 6> seen = {};
    for (int i = 0; i < 6000;) {
        const Scalar k = draw({0, 0, 0, 0, 0, 0, 0, 6});
        ASSERT_LT(k[7], 6U);
        if (k == Scalar{}) continue;
        ++seen[k[7]];
        ++i;
    }
    for (const int count : seen) EXPECT_NEAR(count, 1000, 200);
}

}  // namespace
}  // namespace ulmaro::test
