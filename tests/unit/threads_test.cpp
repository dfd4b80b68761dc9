// Every routine is re-entrant: eight threads on objects of their own, with keys, schedules and groups that they share
// and only read, make what one thread makes. The threads come first, so that they also meet in what is set up at the
// first use. Run it under the thread sanitizer.
//
// Not re-entrant, and so not here: the custom-curve registry, ::group and the C library's `rand`. The random source is
// the kernel's, replaced by a sequence of each thread's own.
#include <gtest/gtest.h>
#include <sys/random.h>

#include <algorithm>
#include <barrier>
#include <thread>

#include "UlmaroAlgrithm.h"
#include "support/curves.hpp"
#include "support/sm4_modes.hpp"

namespace {

thread_local std::uint64_t sequence = 0;

}  // namespace

extern "C" ssize_t getrandom(void* out, std::size_t size, unsigned int) {
    std::generate_n(static_cast<unsigned char*>(out), size, [] {
        sequence = sequence * 6364136223846793005U + 1442695040888963407U;
        return static_cast<unsigned char>(sequence >> 56);
    });
    return static_cast<ssize_t>(size);
}

using namespace ulmaro::test;

namespace {

/// Set up before the threads start; they read it.
struct Shared {
    ec_group_st example = prepare(kExample);  // the recommended curve is prepared by the threads themselves
    ECC_PRIVATE_KEY priv = record<ECC_PRIVATE_KEY>("3945208f7b2144b13f36e38ac6d39f95889393692860b51a42fb81ef4df7c5b8");
    Bytes message = pattern(3000);
    Bytes iv = pattern(16);
    std::uint32_t schedule[32];
};

template <typename T>
void append(Bytes& log, const T& object) {
    const Bytes bytes = snapshot(object);
    log.insert(log.end(), bytes.begin(), bytes.end());
}

void run_sm2(Bytes& log, const ec_group_st& grp, const Shared& shared) {
    ECC_PUBLIC_KEY pub;
    ECC_PRIVATE_KEY key;
    SM2_ECC_GenerateKeyPair(&grp, &pub, &key);
    ECC_SIGNATURE signature;
    SM2_ECDSA_Signature(&grp, shared.message.data(), &key, &signature);
    append(log, SM2_ECDSA_Verification(&grp, shared.message.data(), &pub, &signature));
    append(log, pub);
    append(log, signature);
    Bytes record(100 + 200), plain(200);
    auto* blob = reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record.data());
    SM2_ECES_Encryption(&grp, shared.message.data(), 200, &pub, blob);
    append(log, SM2_ECES_Decryption(&grp, blob, &key, plain.data()));
    log.insert(log.end(), record.begin(), record.end());
    log.insert(log.end(), plain.begin(), plain.end());
    // The shared key signs for everyone.
    SM2_ECDSA_Signature(&grp, shared.message.data(), &shared.priv, &signature);
    append(log, signature);
}

void run_recommended(Bytes& log, const Shared& shared) {
    ECCParameter_st param;
    ec_group_st grp;
    SM2_Get_Paramter(&param, 6);
    SM2_ECC_InitParameter(&param, &grp);
    append(log, grp);
    run_sm2(log, grp, shared);

    const bignum_st scalar = {{5, 4, 3, 2, 1}};
    ECC_PUBLIC_KEY pub;
    SM2_CalcPubKeyByPriKey(&pub, &scalar);
    append(log, pub);
    append(log, SM2_POINT_is_on_curve(&param, &pub));
    unsigned char z[32];
    SM3_algrithm_userid_hash(&pub, &param, z);
    append(log, z);
}

void run_hash(Bytes& log, const Shared& shared) {
    unsigned char digest[32];
    SM3_CTX ctx;
    SM3_Init(&ctx);
    for (const int size : {1, 63, 64, 1000}) SM3_Update(&ctx, shared.message.data(), size);
    SM3_Final(&ctx, digest);
    append(log, digest);
    SM3_HASH(shared.message.data(), 3000, digest);
    append(log, digest);
    unsigned char stream[1000];
    SM2_KDF_ALGRITRHM(shared.message.data(), 100, sizeof stream, stream);
    append(log, stream);
}

void run_sm4(Bytes& log, const Shared& shared) {
    std::uint32_t schedule[32];
    SM4_KEY_INIT(shared.message.data(), 16, schedule, 32);
    append(log, schedule);
    Bytes out(16 * 70), iv = shared.iv, in = shared.message, key = pattern(16);
    for (const Sm4Mode& mode : kSm4Modes) {
        // The modes promise to read the schedule only.
        void* key_or_schedule =
            mode.raw_key ? static_cast<void*>(key.data()) : const_cast<std::uint32_t*>(shared.schedule);
        mode.run(in.data(), static_cast<int>(out.size()), key_or_schedule, iv.data(), out.data());
        log.insert(log.end(), out.begin(), out.end());
    }
    unsigned char cipher[16];
    SM1_X_ECB_EN_MODE_EX(key.data(), 16, nullptr, in.data(), 16, cipher);
    append(log, cipher);
}

Bytes run(const Shared& shared) {
    sequence = 1;
    Bytes log;
    for (int round = 0; round < 3; ++round) {
        run_recommended(log, shared);
        run_sm2(log, shared.example, shared);
        run_hash(log, shared);
        run_sm4(log, shared);
    }
    return log;
}

TEST(Threads, MakeWhatOneThreadMakes) {
    Shared shared;
    std::ranges::generate(shared.schedule, [word = 1U]() mutable { return word *= 0x9e3779b9U; });
    constexpr int kThreads = 8;
    std::barrier together(kThreads);
    std::vector<Bytes> logs(kThreads);
    std::vector<std::thread> threads;
    threads.reserve(kThreads);
    for (Bytes& log : logs) {
        threads.emplace_back([&] {
            together.arrive_and_wait();
            log = run(shared);
        });
    }
    for (std::thread& thread : threads) thread.join();
    const Bytes expected = run(shared);
    for (int i = 0; i < kThreads; ++i) EXPECT_TRUE(logs[static_cast<std::size_t>(i)] == expected) << i;
}

}  // namespace
