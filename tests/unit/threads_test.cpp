// Every routine is re-entrant: eight threads on their own objects, with keys, schedules and groups that they share and
// only read, compute what one thread computes. The threads run first, so that they also race for what is set up on
// first use. Run it under the thread sanitizer.
//
// Not re-entrant, so not here: the custom-curve registry, ::group and the C library's `rand`. The random source is
// the kernel's, replaced by a sequence of each thread's own.
#include <gtest/gtest.h>
#include <sys/random.h>

#include <algorithm>
#include <barrier>
#include <thread>

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

/// Set up before the threads start; they only read it.
struct Shared {
    ec_group_st example = prepare(example_curve);  // the recommended curve is prepared by the threads themselves
    ECC_PRIVATE_KEY key = record<ECC_PRIVATE_KEY>("3945208f7b2144b13f36e38ac6d39f95889393692860b51a42fb81ef4df7c5b8");
    Bytes message = pattern(3000), iv = pattern(16);
    Sm4Key sm4{pattern(16)};
};

void run_sm2(Bytes& log, const ec_group_st& grp, const Shared& shared) {
    ECC_PUBLIC_KEY pub;
    ECC_PRIVATE_KEY key;
    ECC_SIGNATURE own, common;
    SM2_ECC_GenerateKeyPair(&grp, &pub, &key);
    SM2_ECDSA_Signature(&grp, shared.message.data(), &key, &own);
    SM2_ECDSA_Signature(&grp, shared.message.data(), &shared.key, &common);
    Bytes memory(300 + 200);
    auto* blob = reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(memory.data());
    SM2_ECES_Encryption(&grp, shared.message.data(), 200, &pub, blob);
    const int verdicts[] = {SM2_ECDSA_Verification(&grp, shared.message.data(), &pub, &own),
                            SM2_ECES_Decryption(&grp, blob, &key, &memory[300])};
    for (const Bytes& part : {snapshot(pub), snapshot(own), snapshot(common), snapshot(verdicts), memory}) {
        log.insert(log.end(), part.begin(), part.end());
    }
}

Bytes run(const Shared& shared) {
    sequence = 1;
    Bytes log;
    for (int round = 0; round < 3; ++round) {
        ECCParameter_st param;
        ec_group_st grp;
        SM2_Get_Paramter(&param, 6);
        SM2_ECC_InitParameter(&param, &grp);
        run_sm2(log, grp, shared);
        run_sm2(log, shared.example, shared);

        Bytes out(16 * 70 + 32 + 1000), iv = shared.iv, in = shared.message, raw = shared.sm4.bytes;
        const bignum_st scalar = {{5, 4, 3, 2, 1}};
        ECC_PUBLIC_KEY pub;
        SM2_CalcPubKeyByPriKey(&pub, &scalar);
        out[0] = static_cast<unsigned char>(SM2_POINT_is_on_curve(&param, &pub));
        SM3_algrithm_userid_hash(&pub, &param, &out[1]);
        log.insert(log.end(), out.begin(), out.begin() + 33);
        SM3_CTX ctx;
        SM3_Init(&ctx);
        for (const int size : {1, 63, 64, 1000}) SM3_Update(&ctx, in.data(), size);
        SM3_Final(&ctx, &out[16 * 70]);
        SM2_KDF_ALGRITRHM(in.data(), 100, 1000, &out[16 * 70 + 32]);
        for (const Sm4Mode& mode : all_sm4_modes) {
            // The modes promise only to read the schedule.
            void* const schedule = const_cast<unsigned int*>(shared.sm4.schedule);
            mode.run(in.data(), 16 * 70, mode.raw_key ? raw.data() : schedule, iv.data(), out.data());
            log.insert(log.end(), out.begin(), out.end());
        }
        SM1_X_ECB_EN_MODE_EX(raw.data(), 16, nullptr, in.data(), 16, out.data());
    }
    return log;
}

TEST(Threads, MakeWhatOneThreadMakes) {
    const Shared shared;
    constexpr int thread_count = 8;
    std::barrier together(thread_count);
    std::vector<Bytes> logs(thread_count);
    std::vector<std::jthread> threads;
    for (Bytes& log : logs) {
        threads.emplace_back([&] {
            together.arrive_and_wait();
            log = run(shared);
        });
    }
    threads.clear();
    EXPECT_EQ(std::ranges::count(logs, run(shared)), thread_count);
}

}  // namespace
