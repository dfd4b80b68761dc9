// SM3, SM4 and the key derivation against OpenSSL's libcrypto on random input.
#include <gtest/gtest.h>
#include <openssl/core_names.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/params.h>

#include <memory>

#include "UlmaroAlgrithm.h"
#include "support/bytes.hpp"
#include "support/random.hpp"
#include "support/sm4_modes.hpp"

using namespace ulmaro::test;

namespace {

constexpr int kRounds = 2000;

// Mostly short, now and then long enough for every kernel's widest stride.
std::size_t some_length(Random& random) { return random.up_to(random.up_to(9) == 0 ? 20000 : 600); }

TEST(OpenSsl, Sm3) {
    Random random;
    for (int round = 0; round < kRounds; ++round) {
        const Bytes message = random.bytes(some_length(random));
        unsigned char expected[32];
        ASSERT_EQ(EVP_Digest(message.data(), message.size(), expected, nullptr, EVP_sm3(), nullptr), 1);

        unsigned char once[32];
        SM3_HASH(message.data(), static_cast<int>(message.size()), once);
        ASSERT_EQ(to_hex(once), to_hex(expected)) << message.size() << " bytes";

        SM3_CTX ctx;
        SM3_Init(&ctx);
        for (std::size_t done = 0; done < message.size();) {
            const std::size_t step = random.up_to(message.size() - done);
            SM3_Update(&ctx, message.data() + done, static_cast<int>(step));
            done += step;
        }
        unsigned char streamed[32];
        SM3_Final(&ctx, streamed);
        ASSERT_EQ(to_hex(streamed), to_hex(expected)) << message.size() << " bytes streamed";
    }
}

TEST(OpenSsl, Sm4) {
    Random random;
    const std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)> cipher(EVP_CIPHER_CTX_new(),
                                                                                 EVP_CIPHER_CTX_free);
    for (int round = 0; round < kRounds; ++round) {
        Bytes in = random.bytes(some_length(random) / 16 * 16);
        Bytes iv = random.bytes(16);
        Sm4Key key(random.bytes(16));
        const int length = static_cast<int>(in.size());
        for (const Sm4Mode& mode : kSm4Modes) {
            Bytes expected(in.size());
            int written = 0;
            ASSERT_EQ(EVP_CipherInit_ex(cipher.get(), mode.cbc ? EVP_sm4_cbc() : EVP_sm4_ecb(), nullptr,
                                        key.bytes.data(), iv.data(), mode.decrypts ? 0 : 1),
                      1);
            EVP_CIPHER_CTX_set_padding(cipher.get(), 0);
            ASSERT_EQ(EVP_CipherUpdate(cipher.get(), expected.data(), &written, in.data(), length), 1);
            ASSERT_EQ(written, length);

            Bytes out(in.size());
            mode.run(in.data(), length, key.for_mode(mode), iv.data(), out.data());
            ASSERT_EQ(out, expected) << mode.name << " " << length;
        }
    }
}

// ANSI X9.63 derivation without shared information is the same function.
TEST(OpenSsl, KeyDerivation) {
    Random random;
    const std::unique_ptr<EVP_KDF, decltype(&EVP_KDF_free)> kdf(EVP_KDF_fetch(nullptr, "X963KDF", nullptr),
                                                                EVP_KDF_free);
    const std::unique_ptr<EVP_KDF_CTX, decltype(&EVP_KDF_CTX_free)> ctx(EVP_KDF_CTX_new(kdf.get()), EVP_KDF_CTX_free);
    for (int round = 0; round < kRounds; ++round) {
        Bytes z = random.bytes(1 + random.up_to(300));
        const std::size_t length = 1 + random.up_to(500);
        char digest[] = "SM3";
        const OSSL_PARAM parameters[] = {OSSL_PARAM_construct_utf8_string(OSSL_KDF_PARAM_DIGEST, digest, 0),
                                         OSSL_PARAM_construct_octet_string(OSSL_KDF_PARAM_SECRET, z.data(), z.size()),
                                         OSSL_PARAM_construct_end()};
        Bytes expected(length);
        ASSERT_EQ(EVP_KDF_derive(ctx.get(), expected.data(), length, parameters), 1);
        Bytes out(length);
        SM2_KDF_ALGRITRHM(z.data(), static_cast<int>(z.size()), static_cast<int>(length), out.data());
        ASSERT_EQ(out, expected) << z.size() << " " << length;
    }
}

}  // namespace
