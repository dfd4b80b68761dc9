// Every entry point that computes something, as calls on one object's memory: on all kinds of groups, and with the
// refusals that print. Those of SM1 are reached through the extended ones.
#pragma once

#include <algorithm>
#include <functional>

#include "UlmaroAlgrithmInternals.hpp"
#include "support/curves.hpp"
#include "support/sm4_modes.hpp"

namespace ulmaro::test {

/// The recommended curve; one for the engine of any curve; a short one; and one whose short prime and even order send
/// everything through the exported routines. The base point is off that one, so decryption refuses C1.
struct KindsOfGroups {
    ec_group_st recommended = prepare(recommended_curve), custom = prepare(example_curve), brief = prepare(short_curve);
    ec_group_st exported = [] {
        ECCParameter_st param = parameters(example_curve);
        std::ranges::copy(from_hex("0000000000000000fffffffffffffffffffffffffffffffeffffffffffffffff"), param.p);
        param.n[31] &= 0xfe;
        return prepare(param);
    }();
};

struct EntryPoints {
    /// Traits: takes secrets; wipes as deep as it reaches; uses the heap; writes the registry; is SM4 on data.
    static constexpr unsigned hides = 1, wipes = 2, allocates = 4, registers = 8, ciphers = 16, secret = hides | wipes;

    struct Call {
        const char* name;
        const ec_group_st* grp;  ///< for SM2
        unsigned traits;
        std::function<void()> run;
    };

    explicit EntryPoints(const KindsOfGroups& groups) {
        for (const ec_group_st* grp : {&groups.recommended, &groups.custom, &groups.brief, &groups.exported}) {
            grp_ = grp;
            const unsigned opens = grp == &groups.exported ? allocates : secret | allocates;
            add("SM2_ECC_GenerateKeyPair", secret, [=, this] { SM2_ECC_GenerateKeyPair(grp, &pub, &key); });
            add("ECC_CalcPubKeyByPriKey", secret,
                [=, this] { ECC_CalcPubKeyByPriKey(const_cast<ec_group_st*>(grp), &other, &number); });
            add("SM2_ECDSA_Signature", secret, [=, this] { SM2_ECDSA_Signature(grp, in(), &key, &signature); });
            for (unsigned char* digest : {text.data(), out()}) {
                add("SM2_ECDSA_Verification", 0,
                    [=, this] { result = SM2_ECDSA_Verification(grp, digest, &pub, &signature); });
            }
            add("SM2_ECDSA_Signature with no key", secret,
                [=, this] { SM2_ECDSA_Signature(grp, in(), &no_key, &signature); });
            for (const int size : {3000, 20}) {
                add("SM2_ECES_Encryption", secret | allocates,
                    [=, this] { SM2_ECES_Encryption(grp, in(), size, &pub, blob()); });
                add("SM2_ECES_Decryption", opens,
                    [=, this] { result = SM2_ECES_Decryption(grp, blob(), &key, out()); });
            }
            add("SM2_ECES_Encryption", secret | allocates,
                [=, this] { SM2_ECES_Encryption(grp, &record[100], 20, &pub, blob()); });
        }
        grp_ = nullptr;
        add("SM2_Get_Paramter", 0, [this] { SM2_Get_Paramter(&param, 6); });
        add("SM2_ECC_InitParameter", 0, [this] { SM2_ECC_InitParameter(&param, &group); });
        add("SM2_CalcPubKeyByPriKey", secret, [this] { SM2_CalcPubKeyByPriKey(&other, &number); });
        add("SM2_POINT_is_on_curve", 0, [this] { result = SM2_POINT_is_on_curve(&param, &other); });
        add("SM2_Set_Custom_Paramter", registers,
            [this] { SM2_Set_Custom_Paramter(param.p, param.a, param.b, param.Gx, param.Gy, param.n); });
        for (const int size : {20, 3000}) {
            for (const int z : {0, 56, 62, 64}) {
                add("SM2_KDF_ALGRITRHM", secret | allocates, [=, this] { SM2_KDF_ALGRITRHM(in(), z, size, out()); });
            }
        }
        add("SM3_Init", 0, [this] { SM3_Init(&ctx); });
        add("SM3_Update", hides, [this] { SM3_Update(&ctx, in(), 310); });
        add("SM3_Final", hides, [this] { SM3_Final(&ctx, out()); });
        for (const int size : {0, 55, 300}) add("SM3_HASH", hides, [=, this] { SM3_HASH(in(), size, out()); });
        add("SM3_algrithm_userid_hash", 0, [this] { SM3_algrithm_userid_hash(&other, &param, out()); });
        add("SM4_KEY_INIT", secret, [this] { SM4_KEY_INIT(sm4.bytes.data(), 16, sm4.schedule, 32); });
        for (const Sm4Mode& mode : all_sm4_modes) {
            const unsigned traits = hides | ciphers | (!mode.raw_key && (!mode.cbc || mode.decrypts) ? wipes : 0U);
            for (const unsigned at : {0U, 1U}) {
                add(mode.name, traits | at * allocates,
                    [=, this] { mode.run(out(), 16 * 70, sm4.for_mode(mode), iv.data(), out() + at); });
            }
        }
        for (const auto mode : {SM1_X_ECB_EN_MODE_EX, SM1_X_ECB_DE_MODE_EX}) {
            add("SM1 in ECB", 0, [=, this] { mode(in(), 16, in(), in(), 64, out()); });
        }
        for (const auto mode : {SM1_X_CBC_EN_MODE_EX, SM1_X_CBC_DE_MODE_EX}) {
            add("SM1 in CBC", 0, [=, this] { mode(in(), 16, in(), 16, in(), 64, out()); });
        }
    }
    EntryPoints(const EntryPoints&) = delete;

    unsigned char* in() { return text.data(); }
    unsigned char* out() { return output.data(); }
    Ulmaro_ECC_CIPHER_BLOB* blob() { return reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record.data()); }

    Bytes text = pattern(3200), iv = pattern(16), output = Bytes(3200), record = Bytes(3200);
    ECCParameter_st param = {};
    ec_group_st group = {};
    ECC_PUBLIC_KEY pub = {}, other = {};
    ECC_PRIVATE_KEY key = {}, no_key = {};
    ECC_SIGNATURE signature = {};
    bignum_st number = {{1, 2, 3}};
    SM3_CTX ctx = {};
    Sm4Key sm4{pattern(16)};
    int result = 0;
    std::vector<Call> calls;

private:
    void add(const char* name, unsigned traits, std::function<void()> run) {
        calls.push_back({name, grp_, traits, std::move(run)});
    }

    const ec_group_st* grp_ = nullptr;
};

}  // namespace ulmaro::test
