// OpenSSL's public-key operations: SM2, and as a yardstick ECDSA on P-256, the curve of that size with hand-written
// assembly.
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/evp.h>
#include <openssl/obj_mac.h>
#include <openssl/param_build.h>

#include <algorithm>
#include <cstring>
#include <vector>

#include "cases.hpp"
#include "peer.hpp"
#include "sm2_material.hpp"

namespace bench {
namespace {

constexpr const char* peer = "openssl";
constexpr const char* p256_peer = "openssl-p256";

using Bytes = std::vector<unsigned char>;

void require(long result) { ensure(result > 0, peer); }

// Everything below lives as long as the program.

EVP_PKEY* import_key(const Sm2Material& m) {
    unsigned char point[65] = {4};
    std::memcpy(point + 1, &m.public_key, 64);
    OSSL_PARAM_BLD* build = OSSL_PARAM_BLD_new();
    require(OSSL_PARAM_BLD_push_utf8_string(build, OSSL_PKEY_PARAM_GROUP_NAME, "SM2", 0));
    require(OSSL_PARAM_BLD_push_octet_string(build, OSSL_PKEY_PARAM_PUB_KEY, point, sizeof point));
    require(OSSL_PARAM_BLD_push_BN(build, OSSL_PKEY_PARAM_PRIV_KEY, BN_bin2bn(m.private_key.d, 32, nullptr)));
    EVP_PKEY_CTX* ctx = EVP_PKEY_CTX_new_from_name(nullptr, "SM2", nullptr);
    EVP_PKEY* key = nullptr;
    require(EVP_PKEY_fromdata_init(ctx));
    require(EVP_PKEY_fromdata(ctx, &key, EVP_PKEY_KEYPAIR, OSSL_PARAM_BLD_to_param(build)));
    return key;
}

Bytes der_of(const ECC_SIGNATURE& signature) {
    ECDSA_SIG* pair = ECDSA_SIG_new();
    require(ECDSA_SIG_set0(pair, BN_bin2bn(signature.r, 32, nullptr), BN_bin2bn(signature.s, 32, nullptr)));
    Bytes der(80);
    unsigned char* end = der.data();
    der.resize(static_cast<std::size_t>(i2d_ECDSA_SIG(pair, &end)));
    return der;
}

EVP_PKEY_CTX* context(EVP_PKEY* key, int (*init)(EVP_PKEY_CTX*)) {
    EVP_PKEY_CTX* ctx = EVP_PKEY_CTX_new(key, nullptr);
    require(init(ctx));
    return ctx;
}

/// The public key of a scalar is most of key generation, and what it is compared with.
void add_key_pair(const char* operation, const char* implementation, EVP_PKEY* alike) {
    static EVP_PKEY* made = nullptr;
    EVP_PKEY_CTX* ctx = context(alike, EVP_PKEY_keygen_init);
    add(
        operation, 0, implementation,
        [=] {
            EVP_PKEY_free(made);
            made = nullptr;
            require(EVP_PKEY_keygen(ctx, &made));
        },
        [] { return EVP_PKEY_public_check(EVP_PKEY_CTX_new(made, nullptr)) == 1; });
}

void add_signature(const std::string& prefix, const char* implementation, EVP_PKEY* key, const Bytes& signature,
                   const unsigned char* digest) {
    static unsigned char made[80];
    static std::size_t size = 0;
    static int verdict = 0;
    EVP_PKEY_CTX* sign = context(key, EVP_PKEY_sign_init);
    EVP_PKEY_CTX* verify = context(key, EVP_PKEY_verify_init);
    add(
        prefix + "-sign", 0, implementation,
        [=] {
            size = sizeof made;
            require(EVP_PKEY_sign(sign, made, &size, digest, 32));
        },
        [=] { return EVP_PKEY_verify(verify, made, size, digest, 32) == 1; });
    add(
        prefix + "-verify", 0, implementation,
        [=] { verdict = EVP_PKEY_verify(verify, signature.data(), signature.size(), digest, 32); },
        [] { return verdict == 1; });
}

void add_encryption(EVP_PKEY* key, std::size_t size) {
    EVP_PKEY_CTX* encrypt = context(key, EVP_PKEY_encrypt_init);
    EVP_PKEY_CTX* decrypt = context(key, EVP_PKEY_decrypt_init);
    const unsigned char* message = input(size);
    unsigned char* plain = output(size);
    Bytes cipher(size + 256);
    std::size_t cipher_size = cipher.size();
    require(EVP_PKEY_encrypt(encrypt, cipher.data(), &cipher_size, message, size));
    cipher.resize(cipher_size);
    const auto opens_to_message = [=](const unsigned char* from, std::size_t from_size) {
        std::size_t plain_size = size + 256;
        require(EVP_PKEY_decrypt(decrypt, plain, &plain_size, from, from_size));
        return plain_size == size && std::equal(plain, plain + size, message);
    };
    static unsigned char made[message_sizes[std::size(message_sizes) - 1] + 256];
    static std::size_t made_size = 0;
    add(
        "sm2-encrypt", size, peer,
        [=] {
            made_size = sizeof made;
            require(EVP_PKEY_encrypt(encrypt, made, &made_size, message, size));
        },
        [=] { return opens_to_message(made, made_size); });
    add(
        "sm2-decrypt", size, peer,
        [=] {
            std::size_t plain_size = size + 256;
            require(EVP_PKEY_decrypt(decrypt, plain, &plain_size, cipher.data(), cipher.size()));
        },
        [=] { return std::equal(plain, plain + size, message); });
}

void add_group(const char* operation, int curve) {
    static EC_GROUP* group = nullptr;
    add(
        operation, 0, peer,
        [=] {
            EC_GROUP_free(group);
            group = EC_GROUP_new_by_curve_name(curve);
        },
        [] { return group != nullptr; });
}

const bool registered = [] {
    const Sm2Material& m = sm2_material();
    EVP_PKEY* key = import_key(m);
    const Bytes signature = der_of(m.signature);
    add_key_pair("sm2-key-pair", peer, key);
    add_key_pair("sm2-public-key", peer, key);
    add_signature("sm2", peer, key, signature, m.digest);
    for (const std::size_t size : message_sizes) add_encryption(key, size);
    add_group("sm2-prepare-group", NID_sm2);
    add_group("sm2-custom-prepare-group", NID_brainpoolP256r1);

    // Its SM2 uses the code for any curve.
    add_key_pair("sm2-custom-key-pair", peer, key);
    add_signature("sm2-custom", peer, key, signature, m.digest);

    EVP_PKEY* p256 = EVP_EC_gen("P-256");
    Bytes p256_signature(80);
    std::size_t size = p256_signature.size();
    require(EVP_PKEY_sign(context(p256, EVP_PKEY_sign_init), p256_signature.data(), &size, m.digest, 32));
    p256_signature.resize(size);
    add_key_pair("sm2-key-pair", p256_peer, p256);
    add_key_pair("sm2-public-key", p256_peer, p256);
    add_signature("sm2", p256_peer, p256, p256_signature, m.digest);
    return true;
}();

}  // namespace
}  // namespace bench
