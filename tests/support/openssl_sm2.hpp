// OpenSSL's SM2 on the recommended curve: its key objects and the DER of its signatures.
#pragma once

#include <openssl/bn.h>
#include <openssl/core_names.h>
#include <openssl/ec.h>
#include <openssl/ecdsa.h>
#include <openssl/evp.h>
#include <openssl/param_build.h>

#include <cstring>
#include <memory>

#include "UlmaroAlgrithm.h"
#include "support/bytes.hpp"

namespace ulmaro::test {

template <auto Release>
struct Releaser {
    void operator()(auto* p) const { Release(p); }
};
using Bn = std::unique_ptr<BIGNUM, Releaser<BN_free>>;
using Key = std::unique_ptr<EVP_PKEY, Releaser<EVP_PKEY_free>>;
using KeyContext = std::unique_ptr<EVP_PKEY_CTX, Releaser<EVP_PKEY_CTX_free>>;

inline Bn number(std::span<const unsigned char> be) {
    return Bn(BN_bin2bn(be.data(), static_cast<int>(be.size()), nullptr));
}
inline Bn number(const char* hex) { return number(from_hex(hex)); }

/// The key object for a pair made here; null when OpenSSL refuses it.
inline Key openssl_key(const ECC_PRIVATE_KEY& d, const ECC_PUBLIC_KEY& pub) {
    unsigned char point[65] = {4};
    std::memcpy(point + 1, &pub, 64);
    const std::unique_ptr<OSSL_PARAM_BLD, Releaser<OSSL_PARAM_BLD_free>> build(OSSL_PARAM_BLD_new());
    const Bn secret = number(d.d);
    OSSL_PARAM_BLD_push_utf8_string(build.get(), OSSL_PKEY_PARAM_GROUP_NAME, "SM2", 0);
    OSSL_PARAM_BLD_push_octet_string(build.get(), OSSL_PKEY_PARAM_PUB_KEY, point, sizeof point);
    OSSL_PARAM_BLD_push_BN(build.get(), OSSL_PKEY_PARAM_PRIV_KEY, secret.get());
    const std::unique_ptr<OSSL_PARAM, Releaser<OSSL_PARAM_free>> params(OSSL_PARAM_BLD_to_param(build.get()));
    const KeyContext context(EVP_PKEY_CTX_new_from_name(nullptr, "SM2", nullptr));
    EVP_PKEY* key = nullptr;
    EVP_PKEY_fromdata_init(context.get());
    EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_KEYPAIR, params.get());
    return Key(key);
}

/// What OpenSSL says of a signature of a digest.
inline bool openssl_verifies(EVP_PKEY_CTX* context, std::span<const unsigned char> e, const ECC_SIGNATURE& signature) {
    const std::unique_ptr<ECDSA_SIG, Releaser<ECDSA_SIG_free>> pair(ECDSA_SIG_new());
    ECDSA_SIG_set0(pair.get(), number(signature.r).release(), number(signature.s).release());
    unsigned char der[80], *end = der;
    const int size = i2d_ECDSA_SIG(pair.get(), &end);
    EVP_PKEY_verify_init(context);
    return EVP_PKEY_verify(context, der, static_cast<std::size_t>(size), e.data(), e.size()) == 1;
}

}  // namespace ulmaro::test
