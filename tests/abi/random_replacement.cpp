// An application's own rand, srand and time reach the plain library, and never the hardened one.
#include <gtest/gtest.h>

#include <cstring>
#include <ctime>

#include "UlmaroAlgrithm.h"

namespace {

int rand_calls = 0;
unsigned int last_seed = 0;

}  // namespace

extern "C" {

int rand() noexcept { return ++rand_calls; }
void srand(unsigned int seed) noexcept { last_seed = seed; }
std::time_t time(std::time_t* out) noexcept { return out != nullptr ? *out = 4711 : 4711; }
}

namespace {

TEST(RandomReplacement, ReachesThePlainLibraryOnly) {
    ECCParameter_st param;
    ec_group_st grp;
    ECC_PUBLIC_KEY pub;
    ECC_PRIVATE_KEY key;
    unsigned char sequence[32];
    for (int i = 0; i < 32; ++i) sequence[i] = static_cast<unsigned char>(32 - i);
    SM2_Get_Paramter(&param, 0);
    SM2_ECC_InitParameter(&param, &grp);
    SM2_ECC_GenerateKeyPair(&grp, &pub, &key);
    EXPECT_EQ(SM2_POINT_is_on_curve(&param, &pub), 1);
    EXPECT_EQ(rand_calls, ULMARO_HARDENED ? 0 : 32);
    EXPECT_EQ(last_seed, ULMARO_HARDENED ? 0U : 4711U);
    EXPECT_EQ(std::memcmp(key.d, sequence, 32) == 0, !ULMARO_HARDENED);
}

}  // namespace
