// An application's own rand, srand and time reach the plain library, and never the hardened one.
#include <gtest/gtest.h>

#include <cstring>
#include <ctime>

#include "UlmaroAlgrithm.h"
#include "UlmaroAlgrithmInternals.hpp"

namespace {

#ifdef ULMARO_HARDENED
constexpr bool kHardened = true;
#else
constexpr bool kHardened = false;
#endif
int rand_calls = 0;
unsigned int last_seed = 0;

}  // namespace

extern "C" {

int rand() noexcept { return ++rand_calls; }
void srand(unsigned int seed) noexcept { last_seed = seed; }
std::time_t time(std::time_t* out) noexcept { return out != nullptr ? *out = 4711 : 4711; }
}

namespace {

// Whether a call took `draws` draws of 32 bytes and seeded, which it does in the plain library alone.
template <class Call>
void expect_draws(int draws, bool seeds, Call call) {
    rand_calls = 0;
    last_seed = 0;
    call();
    EXPECT_EQ(rand_calls, kHardened ? 0 : 32 * draws);
    EXPECT_EQ(last_seed, seeds && !kHardened ? 4711U : 0U);
}

TEST(RandomReplacement, ReachesThePlainLibraryOnly) {
    ECCParameter_st param;
    ec_group_st grp;
    ECC_PUBLIC_KEY pub;
    ECC_PRIVATE_KEY key;
    ECC_SIGNATURE signature;
    unsigned char e[32] = {1};
    unsigned char space[132];
    const auto blob = reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(space);
    unsigned char sequence[32];
    for (int i = 0; i < 32; ++i) sequence[i] = static_cast<unsigned char>(32 - i);
    SM2_Get_Paramter(&param, 0);

    expect_draws(0, true, [&] { SM2_ECC_InitParameter(&param, &grp); });
    expect_draws(1, false, [&] { SM2_ECC_GenerateKeyPair(&grp, &pub, &key); });
    EXPECT_EQ(SM2_POINT_is_on_curve(&param, &pub), 1);
    EXPECT_EQ(std::memcmp(key.d, sequence, 32) == 0, !kHardened);
    expect_draws(0, true, [&] { SM2_CalcPubKeyByPriKey(&pub, &grp.mont_one); });
    expect_draws(1, false, [&] { SM2_ECDSA_Signature(&grp, e, &key, &signature); });
    expect_draws(1, false, [&] { SM2_ECES_Encryption(&grp, e, 32, &pub, blob); });

    expect_draws(0, true, [&] { ECC_InitParameter(&param, &group); });
    expect_draws(1, false, [&] { ECC_GenerateKeyPair(&group, &pub, &key); });
    expect_draws(1, false, [&] { ECDSA_Signature(&group, e, &key, &signature); });
    EXPECT_EQ(ECDSA_Verification(&grp, e, &pub, &signature), 1);
    expect_draws(1, false, [&] { ECES_Encryption(&group, e, 32, &pub, blob); });
    EXPECT_EQ(ECES_Decryption(&grp, blob, &key, e), 1);
    expect_draws(1, false, [&] { ECC_ProduceKey(0, pub.x, key.d); });
}

}  // namespace
