// The library's own key pairs, signatures and public-key encryption.
#include <cstring>
#include <memory>

#include "UlmaroAlgrithm.h"
#include "cases.hpp"
#include "sm2_material.hpp"

namespace bench {
namespace {

constexpr int recommended_curve = 0;
constexpr int registry_curve = 7;

// brainpoolP256r1, RFC 5639 clause 3.4.
constexpr ECCParameter_st custom_curve = {
    {0xa9, 0xfb, 0x57, 0xdb, 0xa1, 0xee, 0xa9, 0xbc, 0x3e, 0x66, 0x0a, 0x90, 0x9d, 0x83, 0x8d, 0x72,
     0x6e, 0x3b, 0xf6, 0x23, 0xd5, 0x26, 0x20, 0x28, 0x20, 0x13, 0x48, 0x1d, 0x1f, 0x6e, 0x53, 0x77},
    {0x7d, 0x5a, 0x09, 0x75, 0xfc, 0x2c, 0x30, 0x57, 0xee, 0xf6, 0x75, 0x30, 0x41, 0x7a, 0xff, 0xe7,
     0xfb, 0x80, 0x55, 0xc1, 0x26, 0xdc, 0x5c, 0x6c, 0xe9, 0x4a, 0x4b, 0x44, 0xf3, 0x30, 0xb5, 0xd9},
    {0x26, 0xdc, 0x5c, 0x6c, 0xe9, 0x4a, 0x4b, 0x44, 0xf3, 0x30, 0xb5, 0xd9, 0xbb, 0xd7, 0x7c, 0xbf,
     0x95, 0x84, 0x16, 0x29, 0x5c, 0xf7, 0xe1, 0xce, 0x6b, 0xcc, 0xdc, 0x18, 0xff, 0x8c, 0x07, 0xb6},
    {0x8b, 0xd2, 0xae, 0xb9, 0xcb, 0x7e, 0x57, 0xcb, 0x2c, 0x4b, 0x48, 0x2f, 0xfc, 0x81, 0xb7, 0xaf,
     0xb9, 0xde, 0x27, 0xe1, 0xe3, 0xbd, 0x23, 0xc2, 0x3a, 0x44, 0x53, 0xbd, 0x9a, 0xce, 0x32, 0x62},
    {0x54, 0x7e, 0xf8, 0x35, 0xc3, 0xda, 0xc4, 0xfd, 0x97, 0xf8, 0x46, 0x1a, 0x14, 0x61, 0x1d, 0xc9,
     0xc2, 0x77, 0x45, 0x13, 0x2d, 0xed, 0x8e, 0x54, 0x5c, 0x1d, 0x54, 0xc7, 0x2f, 0x04, 0x69, 0x97},
    {0xa9, 0xfb, 0x57, 0xdb, 0xa1, 0xee, 0xa9, 0xbc, 0x3e, 0x66, 0x0a, 0x90, 0x9d, 0x83, 0x8d, 0x71,
     0x8c, 0x39, 0x7a, 0xa3, 0xb5, 0x61, 0xa6, 0xf7, 0x90, 0x1e, 0x0e, 0x82, 0x97, 0x48, 0x56, 0xa7}};

int verdict = 0;

bool accepted() { return verdict == 1; }

Sm2Material make_material(int curve) {
    Sm2Material m{};
    SM2_Get_Paramter(&m.parameters, curve);
    SM2_ECC_InitParameter(&m.parameters, &m.group);
    SM2_ECC_GenerateKeyPair(&m.group, &m.public_key, &m.private_key);
    std::memcpy(m.digest, input(sizeof m.digest), sizeof m.digest);
    SM2_ECDSA_Signature(&m.group, m.digest, &m.private_key, &m.signature);
    return m;
}

bignum_st words_of(const ECC_PRIVATE_KEY& key) {
    bignum_st scalar{};
    for (unsigned i = 0; i < 32; ++i) scalar.words[i / 4] |= static_cast<unsigned>(key.d[31 - i]) << (8 * (i % 4));
    return scalar;
}

void add_key_and_signature(const std::string& prefix, const Sm2Material& m) {
    static ec_group_st prepared;
    static ECC_PUBLIC_KEY public_key;
    static ECC_PRIVATE_KEY private_key;
    static ECC_SIGNATURE signature;
    add(
        prefix + "-prepare-group", 0, "ulmaro", [&m] { SM2_ECC_InitParameter(&m.parameters, &prepared); },
        [&m] { return std::memcmp(&prepared, &m.group, sizeof prepared) == 0; });
    add(
        prefix + "-key-pair", 0, "ulmaro", [&m] { SM2_ECC_GenerateKeyPair(&m.group, &public_key, &private_key); },
        [&m] { return SM2_POINT_is_on_curve(&m.parameters, &public_key) == 1; });
    add(
        prefix + "-sign", 0, "ulmaro", [&m] { SM2_ECDSA_Signature(&m.group, m.digest, &m.private_key, &signature); },
        [&m] { return SM2_ECDSA_Verification(&m.group, m.digest, &m.public_key, &signature) == 1; });
    add(
        prefix + "-verify", 0, "ulmaro",
        [&m] { verdict = SM2_ECDSA_Verification(&m.group, m.digest, &m.public_key, &m.signature); }, accepted);
}

void add_public_key(const Sm2Material& m) {
    static ECC_PUBLIC_KEY public_key;
    add(
        "sm2-public-key", 0, "ulmaro",
        [scalar = words_of(m.private_key)] { SM2_CalcPubKeyByPriKey(&public_key, &scalar); },
        [&m] { return std::memcmp(&public_key, &m.public_key, sizeof public_key) == 0; });
}

void add_encryption(const Sm2Material& m, std::size_t size) {
    const int len = static_cast<int>(size);
    const std::size_t record_size = sizeof(Ulmaro_ECC_CIPHER_BLOB) + size;
    unsigned char* plain = output(size);
    const unsigned char* message = input(size);
    const std::shared_ptr<unsigned char[]> bytes(new unsigned char[record_size]);
    auto* const record = reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(bytes.get());
    SM2_ECES_Encryption(&m.group, message, len, &m.public_key, record);
    add(
        "sm2-encrypt", size, "ulmaro",
        [=, &m, held = bytes] { SM2_ECES_Encryption(&m.group, message, len, &m.public_key, record); },
        [=, &m] {
            return SM2_ECES_Decryption(&m.group, record, &m.private_key, plain) == 1 &&
                   std::memcmp(plain, message, size) == 0;
        });
    add(
        "sm2-decrypt", size, "ulmaro",
        [=, &m, held = bytes] { verdict = SM2_ECES_Decryption(&m.group, record, &m.private_key, plain); },
        [=] { return accepted() && std::memcmp(plain, message, size) == 0; });
}

const bool registered = [] {
    const Sm2Material& m = sm2_material();
    add_key_and_signature("sm2", m);
    add_public_key(m);
    for (const std::size_t size : message_sizes) add_encryption(m, size);

    SM2_Set_Custom_Paramter(custom_curve.p, custom_curve.a, custom_curve.b, custom_curve.Gx, custom_curve.Gy,
                            custom_curve.n);
    static const Sm2Material custom = make_material(registry_curve);
    add_key_and_signature("sm2-custom", custom);
    return true;
}();

}  // namespace

const Sm2Material& sm2_material() {
    static const Sm2Material material = make_material(recommended_curve);
    return material;
}

}  // namespace bench
