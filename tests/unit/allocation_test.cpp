// Scratch memory: how much may be asked for, and what is left behind when there is none.
#include <gtest/gtest.h>

#include <cstdlib>
#include <new>

#include "UlmaroAlgrithm.h"
#include "UlmaroAlgrithmInternals.hpp"
#include "support/bytes.hpp"
#include "support/refusal.hpp"
#include "support/sm4_modes.hpp"

namespace {

// The n-th allocation from now on fails when fail_at is n; counting is off outside of Watch.
struct {
    bool on = false;
    int made = 0;
    int live = 0;
    int fail_at = 0;
} heap;

void* allocate(std::size_t size) {
    if (heap.on && ++heap.made == heap.fail_at) throw std::bad_alloc();
    void* memory = std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    if (heap.on) ++heap.live;
    return memory;
}

void release(void* memory) noexcept {
    if (heap.on && memory != nullptr) --heap.live;
    std::free(memory);
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }

using namespace ulmaro::test;

namespace {

struct Result {
    Outcome outcome;
    int allocations;
    int leaked;
};

template <class Call>
Result watch(int fail_at, Call&& call) {
    heap = {true, 0, 0, fail_at};
    const Outcome outcome = outcome_of(call);
    heap.on = false;
    return {outcome, heap.made, heap.live};
}

// Runs `call` with the first, second, ... allocation failing, then with all of them granted. `prepare` comes before
// each run, `refused` checks what is left after a failure. Returns the number of allocations of the run that went well.
template <class Prepare, class Call, class Refused>
int every_failure(Prepare&& prepare, Call&& call, Refused&& refused) {
    for (int fail_at = 1;; ++fail_at) {
        prepare();
        const Result r = watch(fail_at, call);
        EXPECT_EQ(r.leaked, 0) << "allocation " << fail_at;
        if (r.outcome == Outcome::returned) return r.allocations;
        EXPECT_EQ(r.outcome, Outcome::bad_alloc);
        refused();
    }
}

TEST(Allocation, Sm4Modes) {
    Sm4Key key(from_hex("0123456789abcdeffedcba9876543210"));
    for (const Sm4Mode& mode : kSm4Modes) {
        for (const std::size_t length : {16U, 48U, 4096U}) {
            const Bytes iv = pattern(16);
            Bytes expected(length);
            Bytes message = pattern(length);
            Bytes iv_copy = iv;
            mode.run(message.data(), static_cast<int>(length), key.for_mode(mode), iv_copy.data(), expected.data());
            for (const std::size_t at : {std::size_t{0}, length - 1, length + 1, length, 2 * length}) {
                Bytes arena;
                const auto first = static_cast<std::ptrdiff_t>(at);
                const auto prepare = [&] {
                    arena.assign(3 * length, 0xee);
                    std::copy(message.begin(), message.end(), arena.begin() + static_cast<std::ptrdiff_t>(length));
                };
                prepare();
                const Bytes before = arena;
                const int allocations = every_failure(
                    prepare,
                    [&] {
                        mode.run(arena.data() + length, static_cast<int>(length), key.for_mode(mode), iv_copy.data(),
                                 arena.data() + at);
                    },
                    [&] { EXPECT_EQ(arena, before) << mode.name << ": written before the failure"; });
                EXPECT_EQ(Bytes(arena.begin() + first, arena.begin() + first + static_cast<std::ptrdiff_t>(length)),
                          expected)
                    << mode.name << " " << length << " at " << at;
                const bool apart_or_same = at == 0 || at == length || at == 2 * length;
                EXPECT_LE(allocations, apart_or_same ? 0 : 2) << mode.name << " " << length << " at " << at;
                EXPECT_EQ(iv_copy, iv);
            }
        }
    }
}

TEST(Allocation, Sm3Stream) {
    Bytes message = pattern(1000);
    SM3_CTX start;
    SM3_Init(&start);
    SM3_Update(&start, message.data(), 10);
    SM3_CTX ctx;
    const int allocations = every_failure([&] { ctx = start; }, [&] { SM3_Update(&ctx, message.data(), 1000); },
                                          [&] {
                                              SM3_CTX counted = start;
                                              counted.total_len += 1000;
                                              EXPECT_EQ(snapshot(ctx), snapshot(counted));
                                          });
    EXPECT_LE(allocations, 1);

    unsigned char digest[32];
    EXPECT_EQ(watch(0, [&] { SM3_Final(&ctx, digest); }).allocations, 0);
    EXPECT_LE(watch(0, [&] { SM3_HASH(message.data(), 1000, digest); }).allocations, 1);
}

TEST(Allocation, KeyDerivation) {
    for (const std::size_t z_len : {0U, 64U, 100000U}) {
        Bytes z = pattern(z_len);
        Bytes out;
        const Bytes before(100, 0xee);
        const int allocations = every_failure(
            [&] { out = before; }, [&] { SM2_KDF_ALGRITRHM(z.data(), static_cast<int>(z_len), 100, out.data()); },
            [&] { EXPECT_EQ(out, before); });
        EXPECT_LE(allocations, 2) << z_len;
        EXPECT_NE(out, before);
    }
}

TEST(Allocation, NothingElseAllocates) {
    Bytes bytes = pattern(64);
    unsigned int rk[32];
    unsigned int words[16] = {};
    ECCParameter_st curve;
    const Result r = watch(1, [&] {
        SM4_KEY_INIT(bytes.data(), 16, rk, 32);
        ECB_EN_MOD(words, rk, words);
        ECB_DE_MOD(words, rk, words);
        CBC_EN_MOD(words, 16, rk, rk, words);
        CBC_DE_MOD(words, 16, rk, rk, words);
        SM1_X_ECB_EN_MODE_EX(bytes.data(), 16, nullptr, bytes.data(), 64, bytes.data());
        SM2_Get_Paramter(&curve, 0);
    });
    EXPECT_EQ(r.outcome, Outcome::returned);
    EXPECT_EQ(r.allocations, 0);
}

}  // namespace
