// Both curve engines under the same calls, the same draws and the same damage: results, records and diagnostics agree.
#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <cstring>
#include <string>

#include "UlmaroAlgrithm.h"
#include "ec/limbs.hpp"
#include "ec/multiply.hpp"
#include "ec/recommended_curve.hpp"
#include "sm2p256/scalar.hpp"
#include "support/numbers256.hpp"
#include "support/printed.hpp"
#include "support/random.hpp"

namespace ulmaro::test {
namespace {

/// The recommended curve, and the same numbers with a flag that reads the same but is another byte: such a group goes
/// the general way.
struct Groups {
    ec_group_st special{};
    ec_group_st general{};

    Groups() {
        ECCParameter_st curve;
        SM2_Get_Paramter(&curve, 0);
        SM2_ECC_InitParameter(&curve, &special);
        general = special;
        general.generator.z_is_one = 2;
    }
};

constexpr int kLength = 45;

struct Record {
    alignas(4) std::array<unsigned char, 100 + kLength> bytes{};
    Ulmaro_ECC_CIPHER_BLOB* blob() { return reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(bytes.data()); }
};

/// Everything that one run of the schemes makes, in comparable bytes.
struct Transcript {
    ECC_PUBLIC_KEY pub{};
    ECC_PRIVATE_KEY priv{};
    ECC_SIGNATURE signature{};
    Record record;
    std::array<unsigned char, kLength> plain{};
    std::string verdicts;
};

Transcript run(const ec_group_st& grp, unsigned seed, const Bytes& e, const Bytes& message, const Bytes& damage) {
    Transcript t;
    std::srand(seed);
    SM2_ECC_GenerateKeyPair(&grp, &t.pub, &t.priv);
    SM2_ECDSA_Signature(&grp, e.data(), &t.priv, &t.signature);
    SM2_ECES_Encryption(&grp, message.data(), kLength, &t.pub, t.record.blob());

    // One bit of the signature, of the digest, of the key, of the record: whole inputs first, then each damaged.
    for (int part = 0; part < 5; ++part) {
        ECC_SIGNATURE signature = t.signature;
        ECC_PUBLIC_KEY pub = t.pub;
        Bytes digest = e;
        Record record = t.record;
        const auto flip = [&](void* at, std::size_t size) {
            static_cast<unsigned char*>(at)[damage[0] % size] ^= static_cast<unsigned char>(1U << damage[1] % 8);
        };
        if (part == 1) flip(&signature, sizeof signature);
        if (part == 2) flip(digest.data(), digest.size());
        if (part == 3) flip(&pub, sizeof pub);
        if (part == 4) flip(record.bytes.data(), record.bytes.size());
        if (std::memcmp(&record.bytes[96], &t.record.bytes[96], 4) != 0)
            record = t.record;  // its length is not at stake
        int verified = 0;
        int opened = 0;
        t.verdicts += printed_by([&] {
            verified = SM2_ECDSA_Verification(&grp, digest.data(), &pub, &signature);
            opened = SM2_ECES_Decryption(&grp, record.blob(), &t.priv, t.plain.data());
        });
        t.verdicts += std::to_string(verified) + std::to_string(opened) + "\n";
    }
    return t;
}

TEST(Engines, AgreeOnEverythingASchemeShows) {
    const Groups groups;
    ASSERT_TRUE(ec::is_recommended(groups.special));
    ASSERT_FALSE(ec::is_recommended(groups.general));
    Random random;
    for (int round = 0; round < 60; ++round) {
        const unsigned seed = random.word();
        const Bytes e = random.bytes(32);
        const Bytes message = random.bytes(kLength);
        const Bytes damage = random.bytes(2);
        const Transcript special = run(groups.special, seed, e, message, damage);
        const Transcript general = run(groups.general, seed, e, message, damage);
        ASSERT_EQ(special.verdicts.substr(0, 3), "11\n");
        EXPECT_EQ(special.verdicts, general.verdicts);
        EXPECT_EQ(std::memcmp(&special.pub, &general.pub, sizeof special.pub), 0);
        EXPECT_EQ(std::memcmp(&special.priv, &general.priv, sizeof special.priv), 0);
        EXPECT_EQ(std::memcmp(&special.signature, &general.signature, sizeof special.signature), 0);
        EXPECT_EQ(special.record.bytes, general.record.bytes);
        EXPECT_EQ(special.plain, general.plain);
    }
}

// Verification and encryption do not ask where a point lies; what they answer for one off the curve, or for
// coordinates above p, must not depend on the engine either.
TEST(Engines, AgreeOnForeignPoints) {
    const Groups groups;
    Random random;
    for (int round = 0; round < 20; ++round) {
        ECC_PUBLIC_KEY pub{};
        ECC_SIGNATURE signature{};
        const Bytes coordinates = random.bytes(64);
        const Bytes halves = random.bytes(64);
        const Bytes e = random.bytes(32);
        std::memcpy(&pub, coordinates.data(), 64);
        std::memcpy(&signature, halves.data(), 64);
        if (round % 4 == 0) pub = {};
        if (round % 4 == 1) std::memset(pub.x, 0xff, 32);
        std::string printed[2];
        Record records[2];
        const ec_group_st* both[2] = {&groups.special, &groups.general};
        for (int i = 0; i < 2; ++i) {
            printed[i] = printed_by([&] { EXPECT_EQ(SM2_ECDSA_Verification(both[i], e.data(), &pub, &signature), 0); });
            std::srand(static_cast<unsigned>(round));
            SM2_ECES_Encryption(both[i], e.data(), 32, &pub, records[i].blob());
        }
        EXPECT_EQ(printed[0], printed[1]);
        EXPECT_EQ(records[0].bytes, records[1].bytes);
    }
}

/// A scalar near a border, sparse, dense or any.
u256::U256 any_scalar(Random& random) {
    static const std::vector<u256::U256> borders = edges(sm2p256::group_order);
    const unsigned kind = random.word() % 8;
    u256::U256 k = random256(random);
    if (kind < 2) return borders[random.word() % borders.size()];
    if (kind == 2) k = {{k.w[0] % 64, 0, 0, 0}};
    if (kind == 3) return SlowModulus{sm2p256::group_order}.negative({{k.w[0] % 64, 0, 0, 0}});
    for (auto& limb : k.w) {
        if (kind == 4) limb &= limb >> 17 & limb << 31 & limb >> 5;
        if (kind == 5) limb |= limb >> 17 | limb << 31 | limb >> 5;
    }
    return k;
}

// One chain of points, each a multiple of the one before or of the generator. ULMARO_TEST_ROUNDS=1000000 takes minutes.
TEST(Engines, AgreeOnEveryMultiple) {
    Groups groups;
    Random random;
    const char* const wanted = std::getenv("ULMARO_TEST_ROUNDS");
    const long rounds = wanted == nullptr ? 300 : std::atol(wanted);
    ec::AffinePoint point{}, special{}, general{};
    bignum_st k;
    ec::from_limbs(k, {{1, 0, 0, 0}});
    ASSERT_TRUE(ec::multiply_base(groups.special, k, point));
    const auto agree = [&](bool finite, bool also_finite) {
        return finite == also_finite && std::memcmp(&special, &general, sizeof special) == 0;
    };
    for (long round = 0; round < rounds; ++round) {
        ec::from_limbs(k, any_scalar(random));
        const bool based = ec::multiply_base(groups.special, k, special);
        ASSERT_TRUE(agree(based, ec::multiply_base(groups.general, k, general))) << round;
        ec::from_limbs(k, any_scalar(random));
        const bool finite = ec::multiply_point(groups.special, point, k, special);
        ASSERT_TRUE(agree(finite, ec::multiply_point(groups.general, point, k, general))) << round;
        if (finite) point = special;
    }
}

}  // namespace
}  // namespace ulmaro::test
