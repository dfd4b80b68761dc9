// OpenSSL as an oracle: SM3, key derivation, and SM2 signatures on the recommended curve.
#pragma once

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/param_build.h>

#include <memory>

#include "support/bytes.hpp"

namespace ulmaro::test {

template <auto Release>
struct Releaser {
    void operator()(auto* p) const { Release(p); }
};

inline Bytes openssl_sm3(const Bytes& message) {
    Bytes digest(32);
    EVP_Digest(message.data(), message.size(), digest.data(), nullptr, EVP_sm3(), nullptr);
    return digest;
}

/// ANSI X9.63 derivation without shared information is the same function; it rejects an empty z or result.
inline Bytes openssl_kdf(Bytes z, std::size_t size) {
    static EVP_KDF* const kdf = EVP_KDF_fetch(nullptr, "X963KDF", nullptr);
    const std::unique_ptr<EVP_KDF_CTX, Releaser<EVP_KDF_CTX_free>> ctx(EVP_KDF_CTX_new(kdf));
    char digest[] = "SM3";
    const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest, 0),
                                     OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SECRET, z.data(), z.size()),
                                     OSSL_PARAM_construct_end()};
    Bytes out(size);
    if (size != 0 && EVP_KDF_derive(ctx.get(), out.data(), size, parameters) != 1) std::abort();
    return out;
}

/// Whether OpenSSL accepts a signature r || s of a digest under the key x || y, which must be on the curve.
inline bool openssl_verifies(const Bytes& xy, const Bytes& digest, const Bytes& signature) {
    Bytes point = {4};
    point.insert(point.end(), xy.begin(), xy.end());
    char group[] = "SM2";
    OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_PKEY_PARAM_GROUP_NAME, group, 0),
                               OSSL_PARAM_construct_octet_string(OSSL_PKEY_PARAM_PUB_KEY, point.data(), point.size()),
                               OSSL_PARAM_construct_end()};
    using Context = std::unique_ptr<EVP_PKEY_CTX, Releaser<EVP_PKEY_CTX_free>>;
    const Context maker(EVP_PKEY_CTX_new_from_name(nullptr, "SM2", nullptr));
    EVP_PKEY* key = nullptr;
    EVP_PKEY_fromdata_init(maker.get());
    if (EVP_PKEY_fromdata(maker.get(), &key, EVP_PKEY_PUBLIC_KEY, parameters) != 1) return false;
    const std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>> owner(key);
    const std::unique_ptr<ECDSA_SIG, Releaser<ECDSA_SIG_free>> pair(ECDSA_SIG_new());
    ECDSA_SIG_set0(pair.get(), BN_bin2bn(signature.data(), 32, nullptr), BN_bin2bn(&signature[32], 32, nullptr));
    unsigned char der[80], *end = der;
    const auto size = static_cast<std::size_t>(i2d_ECDSA_SIG(pair.get(), &end));
    const Context verifier(EVP_PKEY_CTX_new(key, nullptr));
    EVP_PKEY_verify_init(verifier.get());
    return EVP_PKEY_verify(verifier.get(), der, size, digest.data(), digest.size()) == 1;
}

}  // namespace ulmaro::test
