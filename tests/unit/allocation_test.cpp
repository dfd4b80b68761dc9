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
    void* memory = std::malloc(size != 0 ? size : 1);
    if (memory == nullptr) throw std::bad_alloc();
    return memory;
}

}  // namespace

// The library's calls of malloc and free; the linker turns them here.
extern "C" void* __real_malloc(std::size_t size);
extern "C" void* __wrap_malloc(std::size_t size) {
    if (heap.on && ++heap.made == heap.fail_at) return nullptr;
    void* memory = __real_malloc(size);
    if (heap.on && memory != nullptr) ++heap.live;
    return memory;
}
extern "C" void __real_free(void* memory);
extern "C" void __wrap_free(void* memory) {
    if (heap.on && memory != nullptr) --heap.live;
    __real_free(memory);
}

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }

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

struct Sm2Fixture {
    Sm2Fixture() {
        SM2_Get_Paramter(&curve, 6);
        SM2_ECC_InitParameter(&curve, &grp);
        std::srand(1);
        SM2_ECC_GenerateKeyPair(&grp, &pub, &key);
    }

    ECCParameter_st curve;
    ec_group_st grp;
    ECC_PUBLIC_KEY pub;
    ECC_PRIVATE_KEY key;
};

TEST(Allocation, Encryption) {
    Sm2Fixture sm2;
    const Bytes message = pattern(77);
    const auto blob_of = [](Bytes& record) { return reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record.data()); };
    Bytes expected(177);
    std::srand(2);
    SM2_ECES_Encryption(&sm2.grp, message.data(), 77, &sm2.pub, blob_of(expected));

    // In place, for which the key stream must be kept apart, and in storage of its own.
    for (const int at : {100, 177}) {
        Bytes record, before;
        const int allocations = every_failure(
            [&] {
                record.assign(300, 0xee);
                std::copy(message.begin(), message.end(), record.begin() + at);
                before = record;
                std::srand(2);
            },
            [&] { SM2_ECES_Encryption(&sm2.grp, record.data() + at, 77, &sm2.pub, blob_of(record)); },
            [&] {
                // The length is the first that is written.
                before[96] = 77;
                before[97] = before[98] = before[99] = 0;
                EXPECT_EQ(record, before);
            });
        EXPECT_LE(allocations, 2) << at;
        EXPECT_EQ(Bytes(record.begin(), record.begin() + 177), expected) << at;
    }
}

TEST(Allocation, Decryption) {
    Sm2Fixture sm2;
    const Bytes message = pattern(77);
    Bytes record(177);
    auto* blob = reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record.data());
    SM2_ECES_Encryption(&sm2.grp, message.data(), 77, &sm2.pub, blob);
    Bytes plain;
    const Bytes before(77, 0xee);
    const Bytes sealed = record;
    int result = 0;
    const int allocations = every_failure([&] { plain = before; },
                                          [&] { result = SM2_ECES_Decryption(&sm2.grp, blob, &sm2.key, plain.data()); },
                                          [&] { EXPECT_EQ(plain, before); });
    EXPECT_LE(allocations, 4);
    EXPECT_EQ(result, 1);
    EXPECT_EQ(plain, message);
    EXPECT_EQ(record, sealed);
}

// A record that claims more than there is memory for.
TEST(Allocation, DecryptionOfAHugeRecord) {
    Sm2Fixture sm2;
    Bytes record(177);
    auto* blob = reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record.data());
    SM2_ECES_Encryption(&sm2.grp, record.data(), 77, &sm2.pub, blob);
    const Bytes claim = {0x00, 0x00, 0x00, 0x7f};
    std::copy(claim.begin(), claim.end(), record.begin() + 96);
    unsigned char plain = 0xee;
    const Result r = watch(1, [&] { static_cast<void>(SM2_ECES_Decryption(&sm2.grp, blob, &sm2.key, &plain)); });
    EXPECT_EQ(r.outcome, Outcome::bad_alloc);
    EXPECT_EQ(plain, 0xee);
}

TEST(Allocation, ScalarRecoding) {
    bignum_st scalar = {{0x12345678, 0x9abcdef0, 7}};
    int length = -1;
    const Result refused = watch(1, [&] { EXPECT_EQ(compute_wNAF(&scalar, 4, 8, &length), nullptr); });
    EXPECT_EQ(refused.outcome, Outcome::returned);
    EXPECT_EQ(refused.leaked, 0);
    EXPECT_EQ(length, 0);
    signed char* digits = nullptr;
    EXPECT_EQ(watch(0, [&] { digits = compute_wNAF(&scalar, 4, 8, &length); }).leaked, 1);
    EXPECT_GT(length, 0);
    std::free(digits);
}

TEST(Allocation, NothingElseAllocates) {
    Sm2Fixture sm2;
    // The same numbers on the general engine.
    ec_group_st general = sm2.grp;
    general.generator.z_is_one = 2;
    ECC_SIGNATURE signature;
    unsigned char digest[32] = {};
    bignum_st scalar = {{3}};
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
        for (const ec_group_st& grp : {sm2.grp, general}) {
            SM2_ECC_GenerateKeyPair(&grp, &sm2.pub, &sm2.key);
            SM2_ECDSA_Signature(&grp, digest, &sm2.key, &signature);
            EXPECT_EQ(SM2_ECDSA_Verification(&grp, digest, &sm2.pub, &signature), 1);
        }
        SM2_ECC_InitParameter(&curve, &general);
        SM2_CalcPubKeyByPriKey(&sm2.pub, &scalar);
        static_cast<void>(SM2_POINT_is_on_curve(&curve, &sm2.pub));
        SM3_algrithm_userid_hash(&sm2.pub, &curve, digest);
    });
    EXPECT_EQ(r.outcome, Outcome::returned);
    EXPECT_EQ(r.allocations, 0);
}

}  // namespace
