// The hardened library's scalars, with the kernel call replaced.
#include <gtest/gtest.h>
#include <sys/random.h>

#include <algorithm>
#include <array>
#include <cerrno>
#include <csignal>
#include <cstring>
#include <functional>

#include "base/random.hpp"
#include "support/bytes.hpp"

static std::function<ssize_t(unsigned char*, std::size_t)> kernel;

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

TEST(KernelRandom, TakesWhatTheKernelGivesPieceByPiece) {
    int call = 0;
    unsigned char next = 0;
    kernel = [&](unsigned char* out, std::size_t size) -> ssize_t {
        errno = EINTR;
        if (++call % 3 == 0) return -1;
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
    const Scalar below = {0x39d54122, 0x53bbf409, 0x21c6052b, 0x7203df6b, ~0U, ~0U, ~0U, 0xfffffffe};
    const Scalar small = {0, 0, 0, 0, 0, 0, 0, 6};
    const struct {
        Scalar order, given, drawn;
    } cases[] = {
        {order, order, {}},
        {order, below, below},
        {order, {0, 0, 0, 0, 0, 0, 0, ~0U}, {}},
        // Cut to the length of the order.
        {small, {9, 0, 0, 0, 0, 0, 0, 0xfffffffd}, {9, 0, 0, 0, 0, 0, 0, 5}},
        {small, {9, 0, 0, 0, 0, 0, 0, 0xfffffffe}, {}},
        {small, {9, 0, 0, 0, 0, 0, 0, 7}, {}},
        {small, {9, 0, 0, 0, 0, 0, 0, 0xfffffff8}, {9}},
    };
    for (const auto& c : cases) {
        kernel = [&](unsigned char* out, std::size_t size) {
            std::memcpy(out, c.given.data(), size);
            return static_cast<ssize_t>(size);
        };
        EXPECT_EQ(draw(c.order), c.drawn);
    }
}

}  // namespace
}  // namespace ulmaro::test
