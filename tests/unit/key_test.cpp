// Scalar draws, key pairs, public keys, the curve equation, and Z.
#include <gtest/gtest.h>

#include <cstring>

#include "UlmaroAlgrithmInternals.hpp"
#include "support/curves.hpp"
#include "support/printed.hpp"
#include "support/replaced_random.hpp"

namespace ulmaro::test {
namespace {

constexpr std::string_view kZeros = "0000000000000000000000000000000000000000000000000000000000000000";

std::string drawn_from(const ec_group_st& grp) {
    ECC_PUBLIC_KEY pub;
    ECC_PRIVATE_KEY key;
    EXPECT_EQ(SM2_ECC_GenerateKeyPair(&grp, &pub, &key), 0);
    return to_hex(key.d);
}

/// A group whose order has the given top word.
ec_group_st group_with_order(std::string_view top_word) {
    ECCParameter_st param = parameters(kRecommended);
    std::memcpy(param.n, from_hex(top_word).data(), 4);
    return prepare(param);
}

TEST(ScalarDraw, FollowsTheRangeRule) {
    struct {
        const char *order_top, *bytes, *scalar;
    } const cases[] = {
        {"fffffffe", "fffffffdffffffffffffffffffffffffffffffffffffffffffffffffffffffff",
         "fffffffdffffffffffffffffffffffffffffffffffffffffffffffffffffffff"},
        {"fffffffe", "fffffffe00000000000000000000000000000000000000000000000000000001",
         "7fffffff00000000000000000000000000000000000000000000000000000001"},
        {"fffffffe", "ffffffff112233445566778899aabbccddeeff00010203040506070809101112",
         "7fffffff112233445566778899aabbccddeeff00010203040506070809101112"},
        {"00000003", "f000000000000000000000000000000000000000000000000000000000000001",
         "0000000100000000000000000000000000000000000000000000000000000001"},
        {"00000001", "8000000000000000000000000000000000000000000000000000000000000009",
         "0000000000000000000000000000000000000000000000000000000000000009"},
    };
    for (const auto& c : cases) {
        const ec_group_st grp = group_with_order(c.order_top);
        ReplacedRandom& random = reset_random();
        random.next_scalar(c.bytes);
        EXPECT_EQ(drawn_from(grp), c.scalar);
        EXPECT_EQ(random.calls, 32);
    }
}

TEST(ScalarDraw, DrawsAgainForZeroBeforeAndAfterTheHalving) {
    const ec_group_st grp = group_with_order("00000001");
    ReplacedRandom& random = reset_random();
    random.next_scalar(kZeros);
    random.next_scalar("8000000000000000000000000000000000000000000000000000000000000000");
    random.next_scalar("0000000000000000000000000000000000000000000000000000000000000007");
    EXPECT_EQ(drawn_from(grp), "0000000000000000000000000000000000000000000000000000000000000007");
    EXPECT_EQ(random.calls, 96);
}

TEST(ScalarDraw, KeepsTheLowEightBitsOfAnyValue) {
    const ec_group_st grp = prepare(kRecommended);
    ReplacedRandom& random = reset_random();
    for (int i = 0; i < 32; ++i) random.script.push_back(i % 2 != 0 ? -1 - i : 0x7f5a0000 + i);
    EXPECT_EQ(drawn_from(grp), "e01ee21ce41ae618e816ea14ec12ee10f00ef20cf40af608f806fa04fc02fe00");
}

TEST(ScalarDraw, GivesUpAfter256Draws) {
    const ec_group_st grp = prepare(kRecommended);
    ReplacedRandom& random = reset_random();
    random.otherwise = [] { return 0x100; };
    ECC_PUBLIC_KEY pub;
    ECC_PRIVATE_KEY key;
    std::memset(&pub, 0xc5, sizeof pub);
    EXPECT_EQ(SM2_ECC_GenerateKeyPair(&grp, &pub, &key), 0);
    EXPECT_EQ(to_hex(key.d), kZeros);
    EXPECT_EQ(snapshot(pub), Bytes(64));
    EXPECT_EQ(random.calls, 256 * 32);
}

TEST(Group, SeedsFromTheClockAtEveryPreparation) {
    ReplacedRandom& random = reset_random();
    ECCParameter_st param = parameters(kRecommended);
    prepare(param);
    random.now = 0x1234567890;
    std::memset(&param, 0, sizeof param);
    prepare(param);
    const bignum_st d = {{3}};
    ECC_PUBLIC_KEY pub;
    random.now = 77;
    SM2_CalcPubKeyByPriKey(&pub, &d);
    EXPECT_EQ(random.seeds, (std::vector<unsigned int>{1000, 0x34567890, 77}));
    EXPECT_EQ(random.calls, 0);
}

TEST(KeyPair, RefusesGroupsWithoutUsableOrderOrPrime) {
    for (const char* what : {"order below 2^224", "even p", "p = 0", "n = 0", "never prepared"}) {
        SCOPED_TRACE(what);
        ECCParameter_st param = parameters(kRecommended);
        if (what[0] == 'o') std::memset(param.n, 0, 4);
        if (what[0] == 'e') param.p[31] = 0;
        if (what[0] == 'p') std::memset(param.p, 0, 32);
        if (what[0] == 'n') std::memset(param.n, 0, 32);
        ec_group_st grp = prepare(param);
        if (what[2] == 'v') grp = {};
        ReplacedRandom& random = reset_random();
        ECC_PUBLIC_KEY pub;
        ECC_PRIVATE_KEY key;
        std::memset(&pub, 0xc5, sizeof pub);
        std::memset(&key, 0xc5, sizeof key);
        EXPECT_EQ(SM2_ECC_GenerateKeyPair(&grp, &pub, &key), 0);
        EXPECT_EQ(snapshot(pub), Bytes(64));
        EXPECT_EQ(snapshot(key), Bytes(32));
        EXPECT_EQ(random.calls, 0);
    }
}

TEST(KeyPair, LiesOnItsCurveAndRepeatsWithTheSeed) {
    for (const Curve& curve : kSoundCurves) {
        SCOPED_TRACE(curve.name);
        const ECCParameter_st param = parameters(curve);
        reset_random();
        ECC_PUBLIC_KEY pub[2], computed;
        ECC_PRIVATE_KEY key[2];
        for (int i = 0; i < 2; ++i) {
            const ec_group_st grp = prepare(param);
            SM2_ECC_GenerateKeyPair(&grp, &pub[i], &key[i]);
        }
        EXPECT_EQ(snapshot(pub[0]), snapshot(pub[1]));
        EXPECT_EQ(snapshot(key[0]), snapshot(key[1]));
        EXPECT_EQ(SM2_POINT_is_on_curve(&param, &pub[0]), 1);

        bignum_st words;
        std::memset(&words, 0xff, sizeof words);  // words 8 and 9 are not read
        const Bytes reversed(std::rbegin(key[0].d), std::rend(key[0].d));
        std::memcpy(words.words, reversed.data(), 32);
        ec_group_st grp = prepare(param);
        EXPECT_EQ(ECC_CalcPubKeyByPriKey(&grp, &computed, &words), 0);
        EXPECT_EQ(snapshot(computed), snapshot(pub[0]));
    }
}

TEST(PublicKey, OfWholeMultiplesOfTheOrderIsZero) {
    parameters(kCurves[2]);  // the registry plays no part
    const ec_group_st grp = prepare(kRecommended);
    parameters(kCurves[2]);
    const bignum_st one = {{1}}, zero = {};
    ECC_PUBLIC_KEY pub;
    for (const bignum_st* d : {&zero, &grp.order}) {
        std::memset(&pub, 0xc5, sizeof pub);
        EXPECT_EQ(SM2_CalcPubKeyByPriKey(&pub, d), 0);
        EXPECT_EQ(snapshot(pub), Bytes(64));
    }
    SM2_CalcPubKeyByPriKey(&pub, &one);
    EXPECT_EQ(to_hex(pub.x), kRecommended.Gx);
    EXPECT_EQ(to_hex(pub.y), kRecommended.Gy);
}

TEST(CurveEquation, HoldsForCoordinatesModuloTheirPrime) {
    for (const Curve& curve : kSoundCurves) {
        const ECCParameter_st param = parameters(curve);
        auto G = record<ECC_PUBLIC_KEY>(std::string(curve.Gx) + curve.Gy);
        EXPECT_EQ(SM2_POINT_is_on_curve(&param, &G), 1) << curve.name;
        G.y[31] ^= 1;
        EXPECT_EQ(SM2_POINT_is_on_curve(&param, &G), 0) << curve.name;
    }
    // Small numbers: y^2 = x^3 + 11 x + 19 modulo 67 holds for (1, 36); the coordinates may be any that are congruent.
    ECCParameter_st small = {};
    small.p[31] = 67;
    small.a[31] = 11;
    small.b[31] = 19;
    ECC_PUBLIC_KEY point = {};
    int found = 0;
    for (int x = 0; x < 256; ++x) {
        for (int y = 0; y < 256; ++y) {
            point.x[31] = static_cast<unsigned char>(x);
            point.y[31] = static_cast<unsigned char>(y);
            const bool holds = (y * y - x * x * x - 11 * x - 19) % 67 == 0;
            EXPECT_EQ(SM2_POINT_is_on_curve(&small, &point), holds ? 1 : 0);
            found += holds;
        }
    }
    EXPECT_GT(found, 0);
    small.p[31] = 0;
    EXPECT_EQ(SM2_POINT_is_on_curve(&small, &point), 0) << "p = 0";
}

TEST(ProduceKey, WorksOnTheExportedGroupAndPrintsOneNewline) {
    const ECCParameter_st param = parameters(kExample);
    SM2_ECC_InitParameter(&param, &group);
    reset_random().next_scalar("128b2fa8bd433c6c068c8d803dff79792a519a55171b1b650c23661d15897263");
    unsigned char pub[66], priv[34];
    std::memset(pub, 0xc5, sizeof pub);
    std::memset(priv, 0xc5, sizeof priv);
    EXPECT_EQ(printed_by([&] { EXPECT_EQ(ECC_ProduceKey(-1, pub + 1, priv + 1), 0); }), "\n");
    EXPECT_EQ(to_hex(pub),
              "c50ae4c7798aa0f119471bee11825be46202bb79e2a5844495e97c04ff4df2548a"
              "7c0240f88f1cd4e16352a73c17b7f16f07353e53a176d684a9fe0c6bb798e857c5");
    EXPECT_EQ(to_hex(priv), "c5128b2fa8bd433c6c068c8d803dff79792a519a55171b1b650c23661d15897263c5");
    group = {};
}

TEST(IdentityDigest, BindsIdentityCurveAndKey) {
    ECCParameter_st param = parameters(kRecommended);
    auto pub = record<ECC_PUBLIC_KEY>(
        "09f9df311e5421a150dd7d161e4bc5c672179fad1833fc076bb08ff356f35020"
        "ccea490ce26775a52dc6ea718cc1aa600aed05fbf35e084a6632f6072da9ad13");
    const char* const expected = "b2e14c5c79c6df5b85f4fe7ed8db7a262b9da7e07ccb0ea9f4747b8ccda8a4f3";
    unsigned char z[32];
    EXPECT_EQ(SM3_algrithm_userid_hash(&pub, &param, z), 0);
    EXPECT_EQ(to_hex(z), expected);
    for (unsigned char* part : {param.p, param.n}) part[5] ^= 1;
    SM3_algrithm_userid_hash(&pub, &param, z);
    EXPECT_EQ(to_hex(z), expected) << "p and n play no part";
    for (unsigned char* part : {param.a, param.b, param.Gx, param.Gy, pub.x, pub.y}) {
        part[31] ^= 1;
        SM3_algrithm_userid_hash(&pub, &param, z);
        EXPECT_NE(to_hex(z), expected);
        part[31] ^= 1;
    }

    std::memset(z, 0xc5, sizeof z);
    EXPECT_EQ(SM3_algrithm_userid_hash(nullptr, &param, z), -1);
    EXPECT_EQ(SM3_algrithm_userid_hash(&pub, nullptr, z), -1);
    EXPECT_EQ(SM3_algrithm_userid_hash(&pub, &param, nullptr), -1);
    EXPECT_EQ(Bytes(z, z + 32), Bytes(32, 0xc5));
    SM3_algrithm_userid_hash(&pub, &param, pub.y);
    EXPECT_EQ(to_hex(pub.y), expected) << "written over its input";
}

}  // namespace
}  // namespace ulmaro::test
