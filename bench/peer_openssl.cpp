// OpenSSL's libcrypto through its EVP interface.
#include <openssl/core_names.h>
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>

#include "cases.hpp"
#include "peer.hpp"

namespace bench {
namespace {

constexpr const char* peer = "openssl";

void require(int result) { ensure(result > 0, peer); }

void add_cipher(const char* operation, const EVP_CIPHER* cipher, int encrypt, std::size_t size) {
    EVP_CIPHER_CTX* ctx = EVP_CIPHER_CTX_new();
    require(EVP_CipherInit_ex(ctx, cipher, nullptr, sample_key, sample_iv, encrypt));
    require(EVP_CIPHER_CTX_set_padding(ctx, 0));
    const unsigned char* in = input(size);
    unsigned char* out = output(size);
    const bool chained = EVP_CIPHER_get_mode(cipher) == EVP_CIPH_CBC_MODE;
    add(
        operation, size, peer,
        [=] {
            int written = 0;
            if (chained) require(EVP_CipherInit_ex(ctx, nullptr, nullptr, nullptr, sample_iv, -1));
            require(EVP_CipherUpdate(ctx, out, &written, in, static_cast<int>(size)));
        },
        size);
}

void add_key_derivation(std::size_t size) {
    EVP_KDF_CTX* ctx = EVP_KDF_CTX_new(EVP_KDF_fetch(nullptr, "X963KDF", nullptr));
    const unsigned char* in = input(size);
    unsigned char* out = output(size);
    add(
        "kdf", size, peer,
        [=] {
            char digest[] = "SM3";
            const OSSL_PARAM params[] = {
                OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest, 0),
                OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SECRET, const_cast<unsigned char*>(in), 64),
                OSSL_PARAM_construct_end()};
            require(EVP_KDF_derive(ctx, out, size, params));
        },
        size);
}

const bool registered = [] {
    notes().emplace_back(peer, OpenSSL_version(OPENSSL_VERSION_STRING));
    for (const std::size_t size : sizes()) {
        const unsigned char* in = input(size);
        unsigned char* out = output(size);
        add(
            "sm3", size, peer, [=] { require(EVP_Digest(in, size, out, nullptr, EVP_sm3(), nullptr)); }, 32);
        add_cipher("sm4-ecb-encrypt", EVP_sm4_ecb(), 1, size);
        add_cipher("sm4-ecb-decrypt", EVP_sm4_ecb(), 0, size);
        add_cipher("sm4-cbc-encrypt", EVP_sm4_cbc(), 1, size);
        add_cipher("sm4-cbc-decrypt", EVP_sm4_cbc(), 0, size);
        if (size <= 1 << 20) add_key_derivation(size);
    }
    return true;
}();

}  // namespace
}  // namespace bench
