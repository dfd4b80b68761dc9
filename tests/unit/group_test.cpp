// Prepared groups: the constants of good blocks, what bad blocks leave, and the seeding.
#include <gtest/gtest.h>

#include <cstring>

#include "UlmaroAlgrithmInternals.hpp"
#include "support/curves.hpp"
#include "support/random.hpp"
#include "support/replaced_random.hpp"

namespace ulmaro::test {
namespace {

Bytes big_endian(const bignum_st& a) {
    Bytes words_first = snapshot(a);
    words_first.resize(32);
    return {words_first.rbegin(), words_first.rend()};
}

TEST(Group, HoldsTheCurveInMontgomeryForm) {
    for (const Curve& curve : kCurves) {
        SCOPED_TRACE(curve.name);
        const ECCParameter_st param = parameters(curve);
        ec_group_st grp, again;
        std::memset(&grp, 0xc5, sizeof grp);
        EXPECT_EQ(SM2_ECC_InitParameter(&param, &grp), 0);
        again = prepare(param);
        EXPECT_EQ(snapshot(grp), snapshot(again));
        EXPECT_EQ(snapshot(param), snapshot(parameters(curve))) << "the block changed";

        EXPECT_EQ(grp.prime_top, 8);
        EXPECT_EQ(grp.order_top, 8);
        EXPECT_EQ(big_endian(grp.prime), from_hex(curve.p));
        EXPECT_EQ(big_endian(grp.order), from_hex(curve.n));
        EXPECT_EQ(grp.nprime * grp.prime.words[0], ~0U);
        EXPECT_EQ(grp.generator.z_is_one, 1);
        EXPECT_EQ(snapshot(grp.generator.Z), snapshot(grp.mont_one));
        const std::pair<const bignum_st*, const char*> fields[] = {
            {&grp.a_mont, curve.a}, {&grp.b_mont, curve.b}, {&grp.generator.X, curve.Gx}, {&grp.generator.Y, curve.Gy}};
        for (const auto& [field, hex] : fields) {
            bignum_st plain = *field;
            EXPECT_EQ(plain.words[8] | plain.words[9], 0U);
            BN_mod_mul_montgomery_one(plain.words, plain.words, grp.prime.words, 8, grp.nprime);
            EXPECT_EQ(big_endian(plain), from_hex(hex));
        }
    }
}

TEST(Group, CountsTheWordsInUse) {
    ECCParameter_st param = parameters(kRecommended);
    std::memset(param.p, 0, 4);
    std::memset(param.n, 0, 29);
    const ec_group_st grp = prepare(param);
    EXPECT_EQ(grp.prime_top, 7);
    EXPECT_EQ(grp.order_top, 1);
}

TEST(Group, KeepsOnlyPlainFieldsWithoutMontgomeryForm) {
    for (const char* what : {"even p", "p = 0", "n = 0"}) {
        SCOPED_TRACE(what);
        ECCParameter_st param = parameters(kRecommended);
        if (what[0] == 'e') param.p[31] = 0xfe;
        if (what[4] == '0') std::memset(what[0] == 'p' ? param.p : param.n, 0, 32);
        ec_group_st grp, plain = {};
        std::memset(&grp, 0xc5, sizeof grp);
        EXPECT_EQ(SM2_ECC_InitParameter(&param, &grp), 0);
        EXPECT_EQ(big_endian(grp.prime), Bytes(param.p, param.p + 32));
        EXPECT_EQ(big_endian(grp.order), Bytes(param.n, param.n + 32));
        plain.prime = grp.prime;
        plain.order = grp.order;
        plain.prime_top = what[0] == 'p' ? 0 : 8;
        plain.order_top = what[0] == 'n' ? 0 : 8;
        EXPECT_EQ(snapshot(grp), snapshot(plain));
    }
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

TEST(Group, EveryOperationEndsOnGarbage) {
    Random random;
    for (const std::size_t prime_bytes : {1U, 4U, 13U, 28U, 29U, 32U}) {
        ECCParameter_st param = record<ECCParameter_st>(to_hex(random.bytes(sizeof param)));
        std::memset(param.p, 0, 32 - prime_bytes);
        param.p[31] |= 1;
        param.n[0] |= 1;
        const ec_group_st grp = prepare(param);
        const Bytes e = random.bytes(32);
        ECC_PUBLIC_KEY pub;
        ECC_PRIVATE_KEY key;
        ECC_SIGNATURE signature;
        Bytes blob(132), plain(32);
        auto* record_of_32 = reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(blob.data());
        SM2_ECC_GenerateKeyPair(&grp, &pub, &key);
        SM2_ECDSA_Signature(&grp, e.data(), &key, &signature);
        static_cast<void>(SM2_ECDSA_Verification(&grp, e.data(), &pub, &signature));
        SM2_ECES_Encryption(&grp, e.data(), 32, &pub, record_of_32);
        static_cast<void>(SM2_ECES_Decryption(&grp, record_of_32, &key, plain.data()));
        static_cast<void>(SM2_POINT_is_on_curve(&param, &pub));
    }
}

}  // namespace
}  // namespace ulmaro::test
