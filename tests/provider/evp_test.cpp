// The provider as a program sees it through EVP, beside OpenSSL's own: each has a library context of its own, in one
// process, and whatever one makes the other must accept.
#include <dlfcn.h>
#include <gtest/gtest.h>
#include <openssl/core_dispatch.h>
#include <openssl/core_names.h>
#include <openssl/decoder.h>
#include <openssl/err.h>
#include <openssl/evp.h>
#include <openssl/kdf.h>
#include <openssl/param_build.h>
#include <openssl/provider.h>
#include <openssl/x509.h>

#include <algorithm>
#include <fstream>
#include <functional>
#include <memory>
#include <optional>
#include <sstream>
#include <thread>

#include "support/bytes.hpp"

namespace {

using namespace ulmaro::test;

template <auto release>
struct Release {
    void operator()(auto* object) const { release(object); }
};
using CipherContext = std::unique_ptr<EVP_CIPHER_CTX, Release<EVP_CIPHER_CTX_free>>;
using Cipher = std::unique_ptr<EVP_CIPHER, Release<EVP_CIPHER_free>>;
using DigestContext = std::unique_ptr<EVP_MD_CTX, Release<EVP_MD_CTX_free>>;
using Digest = std::unique_ptr<EVP_MD, Release<EVP_MD_free>>;
using Key = std::unique_ptr<EVP_PKEY, Release<EVP_PKEY_free>>;
using KeyContext = std::unique_ptr<EVP_PKEY_CTX, Release<EVP_PKEY_CTX_free>>;

/// A library context whose callers ask for nothing in particular.
struct Side {
    OSSL_LIB_CTX* library = OSSL_LIB_CTX_new();
    OSSL_PROVIDER* ulmaro = nullptr;
    OSSL_PROVIDER* own = OSSL_PROVIDER_load(library, "default");

    explicit Side(bool with_ulmaro) {
        if (!with_ulmaro) return;
        OSSL_PROVIDER_set_default_search_path(library, ULMARO_MODULES);
        ulmaro = OSSL_PROVIDER_load(library, "ulmaro");
        EVP_set_default_properties(library, "?provider=ulmaro");
    }
    Side(const Side&) = delete;
    Side& operator=(const Side&) = delete;
    ~Side() {
        OSSL_PROVIDER_unload(ulmaro);
        OSSL_PROVIDER_unload(own);
        OSSL_LIB_CTX_free(library);
    }

    Key generate() const { return Key(EVP_PKEY_Q_keygen(library, nullptr, "SM2")); }
};

struct Provider : testing::Test {
    const Side ours{true}, theirs{false};
    const std::pair<const Side&, const Side&> directions[2] = {{ours, theirs}, {theirs, ours}};

    void SetUp() override {
        ASSERT_NE(ours.ulmaro, nullptr) << ULMARO_MODULES;
        Digest sm3(EVP_MD_fetch(ours.library, "SM3", nullptr));
        ASSERT_STREQ(OSSL_PROVIDER_get0_name(EVP_MD_get0_provider(sm3.get())), "ulmaro");
    }
};

/// The text of the last error in the queue, which is emptied.
std::string last_error() {
    const char* data = nullptr;
    const unsigned long code = ERR_peek_last_error_all(nullptr, nullptr, nullptr, &data, nullptr);
    const char* reason = ERR_reason_error_string(code);
    ERR_clear_error();
    return reason == nullptr ? "" : reason;
}

/// A sequence of calls that the seed chooses, good and bad ones: their results, outputs and what is left in the object.
std::string cipher_calls(const Side& side, std::uint64_t seed, bool in_place) {
    Sequence sequence{seed * 0x9e3779b97f4a7c15U};
    const auto below = [&](unsigned most) {
        const unsigned high = sequence();
        return (high << 8 | sequence()) % most;
    };
    const auto bytes = [&](std::size_t size) {
        Bytes result(size);
        std::ranges::generate(result, std::ref(sequence));
        return result;
    };
    const char* const name = std::array{"SM4-ECB", "SM4-CBC", "SM4-CTR"}[below(3)];
    const Cipher cipher(EVP_CIPHER_fetch(side.library, name, nullptr));
    CipherContext context(EVP_CIPHER_CTX_new());
    std::string log = name;
    for (unsigned step = 0, steps = 2 + below(12); step < steps; ++step) {
        Bytes out(512);
        int done = -9, size = 0;
        const unsigned call = step == 0 ? 0 : below(11);
        if (call <= 1) {
            const Bytes key = bytes(16), iv = below(4) == 0 ? Bytes(16, 255) : bytes(16);
            const bool with_key = below(4) != 0, with_iv = below(2) != 0;
            done = EVP_CipherInit_ex2(context.get(), step == 0 || below(4) == 0 ? cipher.get() : nullptr,
                                      with_key ? key.data() : nullptr, with_iv ? iv.data() : nullptr,
                                      // Without a key, OpenSSL's own keeps a schedule for the other direction.
                                      with_key || step == 0 ? static_cast<int>(below(2)) : -1, nullptr);
        } else if (call <= 5) {
            const Bytes in = bytes(below(3) == 0 ? 16 * below(16) : below(300));
            std::ranges::copy(in, out.begin());
            const unsigned char* const from = in_place ? out.data() : in.data();
            done = EVP_CipherUpdate(context.get(), out.data(), &size, from, static_cast<int>(in.size()));
        } else if (call == 6) {
            done = EVP_CipherFinal_ex(context.get(), out.data(), &size);
        } else if (call == 7) {
            done = EVP_CIPHER_CTX_set_padding(context.get(), static_cast<int>(below(2)));
        } else if (call == 8) {
            done = EVP_CIPHER_CTX_set_num(context.get(), 0);
        } else if (call == 9) {
            const Bytes in = bytes(16 * (1 + below(16)));
            std::ranges::copy(in, out.begin());
            size = EVP_Cipher(context.get(), out.data(), in_place ? out.data() : in.data(),
                              static_cast<unsigned>(in.size()));
            done = size < 0 ? 0 : 1;
        } else {
            CipherContext copy(EVP_CIPHER_CTX_new());
            done = EVP_CIPHER_CTX_copy(copy.get(), context.get());
            if (done == 1) context = std::move(copy);
        }
        unsigned char iv[16] = {}, chain[16] = {};
        EVP_CIPHER_CTX_get_original_iv(context.get(), iv, 16);
        EVP_CIPHER_CTX_get_updated_iv(context.get(), chain, 16);
        out.resize(done == 1 ? static_cast<std::size_t>(size) : 0);
        for (const std::string& part :
             {std::to_string(call), std::to_string(done), to_hex(out), to_hex(iv), to_hex(chain),
              std::to_string(EVP_CIPHER_CTX_get_num(context.get())), std::to_string(ERR_peek_last_error())}) {
            log.append(part).append(" ");
        }
        log.append("\n");
        ERR_clear_error();
    }
    return log;
}

TEST_F(Provider, CiphersLikeOpenSsl) {
    for (std::uint64_t seed = 1; seed <= 5000; ++seed) {
        const std::string expected = cipher_calls(theirs, seed, false);
        ASSERT_EQ(cipher_calls(ours, seed, false), expected) << seed;
        ASSERT_EQ(cipher_calls(ours, seed, true), expected) << seed << " in place";
    }
}

/// Answers to everything that `described` lists, as text.
template <class Get>
std::string answers(const OSSL_PARAM* described, Get get) {
    std::string text;
    for (; described->key != nullptr; ++described) {
        for (const std::size_t size : {1U, 64U, 128U}) {
            Bytes value(size);
            OSSL_PARAM list[] = {*described, OSSL_PARAM_construct_end()};
            list[0].data = value.data();
            list[0].data_size = value.size();
            const int done = get(list);
            text.append(described->key).append(" ").append(done == 1 ? to_hex(value) : "none").append("\n");
        }
    }
    ERR_clear_error();
    return text;
}

Bytes digest(const Side& side, std::span<const unsigned char> message, std::span<const std::size_t> cuts) {
    const Digest sm3(EVP_MD_fetch(side.library, "SM3", nullptr));
    DigestContext context(EVP_MD_CTX_new());
    EXPECT_EQ(EVP_DigestInit_ex2(context.get(), sm3.get(), nullptr), 1);
    for (const std::size_t cut : cuts) {
        EXPECT_EQ(EVP_DigestUpdate(context.get(), message.data(), std::min(cut, message.size())), 1);
        message = message.subspan(std::min(cut, message.size()));
        DigestContext copy(EVP_MD_CTX_new());
        EXPECT_EQ(EVP_MD_CTX_copy_ex(copy.get(), context.get()), 1);
        EXPECT_EQ(EVP_DigestUpdate(context.get(), "other", 5), 1);
        context = std::move(copy);
    }
    Bytes out(32);
    EXPECT_EQ(EVP_DigestUpdate(context.get(), message.data(), message.size()), 1);
    EXPECT_EQ(EVP_DigestFinal_ex(context.get(), out.data(), nullptr), 1);
    return out;
}

TEST_F(Provider, DigestsLikeOpenSsl) {
    for (std::size_t size = 0; size < 300; ++size) {
        const Bytes message = random_looking(size, size);
        const std::size_t cuts[] = {size % 7, size / 3, 64};
        ASSERT_EQ(digest(ours, message, cuts), digest(theirs, message, {})) << size;
    }
}

#ifdef ULMARO_LONG_MESSAGES
TEST_F(Provider, DigestsWithALengthOf64Bits) {
    const Bytes message((std::size_t{1} << 29) + 3);
    EXPECT_EQ(digest(ours, message, {}), digest(theirs, message, {}));
}
#endif

/// HMAC, CMAC and key derivations, which are OpenSSL's own but hash and encipher through what answers.
TEST_F(Provider, CarriesWhatIsBuiltOnIt) {
    const Bytes key = pattern(16), data = pattern(100);
    const auto mac = [&](const Side& side, const char* name, const char* below) {
        Bytes out(32);
        std::size_t size = 0;
        EXPECT_NE(EVP_Q_mac(side.library, name, nullptr, below, nullptr, key.data(), key.size(), data.data(),
                            data.size(), out.data(), out.size(), &size),
                  nullptr);
        return out;
    };
    EXPECT_EQ(mac(ours, "HMAC", "SM3"), mac(theirs, "HMAC", "SM3"));
    EXPECT_EQ(mac(ours, "CMAC", "SM4-CBC"), mac(theirs, "CMAC", "SM4-CBC"));
    for (const char* name : {"HKDF", "PBKDF2", "KBKDF", "SSKDF"}) {
        const auto derive = [&](const Side& side) {
            EVP_KDF* const kdf = EVP_KDF_fetch(side.library, name, nullptr);
            EVP_KDF_CTX* const context = EVP_KDF_CTX_new(kdf);
            char sm3[] = "SM3", hmac[] = "HMAC";
            Bytes secret = pattern(40), salt = pattern(20), out(77);
            const OSSL_PARAM list[] = {
                OSSL_PARAM_construct_utf8_string("digest", sm3, 0), OSSL_PARAM_construct_utf8_string("mac", hmac, 0),
                OSSL_PARAM_construct_octet_string(*name == 'P' ? "pass" : "key", secret.data(), secret.size()),
                OSSL_PARAM_construct_octet_string("salt", salt.data(), salt.size()), OSSL_PARAM_construct_end()};
            EXPECT_EQ(EVP_KDF_derive(context, out.data(), out.size(), list), 1) << name;
            EVP_KDF_CTX_free(context);
            EVP_KDF_free(kdf);
            return out;
        };
        EXPECT_EQ(derive(ours), derive(theirs)) << name;
    }
}

/// The same key elsewhere, through DER, as a program reads it from a file.
Key carry(const Key& key, const Side& side) {
    unsigned char* der = nullptr;
    const int size = i2d_PrivateKey(key.get(), &der);
    const unsigned char* at = der;
    Key result(d2i_AutoPrivateKey_ex(nullptr, &at, size, side.library, nullptr));
    OPENSSL_free(der);
    EXPECT_NE(result, nullptr);
    return result;
}

TEST_F(Provider, AnswersLikeOpenSsl) {
    const Key key = ours.generate(), same = carry(key, theirs);
    const auto of_key = [&](EVP_PKEY* one, const char* form) {
        const int done = EVP_PKEY_set_utf8_string_param(one, "point-format", form);
        return std::to_string(done) + std::to_string(i2d_PUBKEY(one, nullptr)) +
               answers(EVP_PKEY_gettable_params(key.get()), [&](auto* list) { return EVP_PKEY_get_params(one, list); });
    };
    for (const char* form : {"uncompressed", "compressed", "hybrid", "none"})
        EXPECT_EQ(of_key(key.get(), form), of_key(same.get(), form)) << form;
    const auto of_cipher = [](const Side& side, const char* name) {
        const Cipher cipher(EVP_CIPHER_fetch(side.library, name, nullptr));
        return answers(EVP_CIPHER_gettable_params(cipher.get()),
                       [&](auto* list) { return EVP_CIPHER_get_params(cipher.get(), list); });
    };
    for (const char* name : {"SM4-ECB", "SM4-CBC", "SM4-CTR"})
        EXPECT_EQ(of_cipher(ours, name), of_cipher(theirs, name));
    const auto of_digest = [](const Side& side) {
        const Digest sm3(EVP_MD_fetch(side.library, "SM3", nullptr));
        return answers(EVP_MD_gettable_params(sm3.get()),
                       [&](auto* list) { return EVP_MD_get_params(sm3.get(), list); });
    };
    EXPECT_EQ(of_digest(ours), of_digest(theirs));
}

using Identity = std::optional<std::string>;

/// A signature or, given one, whether it holds.
struct Signer {
    const Side& side;
    EVP_PKEY* key;
    Identity identity;
    DigestContext context{EVP_MD_CTX_new()};

    /// Returns whether the identity was accepted, before or after the first byte of the message.
    bool start(bool signing, bool too_late = false) {
        EVP_PKEY_CTX* inner = nullptr;
        const auto initialise = signing ? EVP_DigestSignInit_ex : EVP_DigestVerifyInit_ex;
        EXPECT_EQ(initialise(context.get(), &inner, "SM3", side.library, nullptr, key, nullptr), 1) << last_error();
        if (too_late) EVP_DigestUpdate(context.get(), "", 1);
        return !identity || EVP_PKEY_CTX_set1_id(inner, identity->data(), static_cast<int>(identity->size())) == 1;
    }
    Bytes sign(const Bytes& message) {
        EXPECT_TRUE(start(true));
        Bytes signature(72);
        std::size_t size = signature.size();
        EXPECT_EQ(EVP_DigestSign(context.get(), signature.data(), &size, message.data(), message.size()), 1);
        signature.resize(size);
        return signature;
    }
    bool verify(const Bytes& message, const Bytes& signature) {
        EXPECT_TRUE(start(false));
        const int valid =
            EVP_DigestVerify(context.get(), signature.data(), signature.size(), message.data(), message.size());
        ERR_clear_error();
        return valid == 1;
    }
};

/// What pkeyutl does, with room for the result; empty when it is refused.
Bytes cipher_once(const Side& side, EVP_PKEY* key, bool encrypting, const Bytes& in, const char* digest = nullptr) {
    const KeyContext context(EVP_PKEY_CTX_new_from_pkey(side.library, key, nullptr));
    EXPECT_EQ((encrypting ? EVP_PKEY_encrypt_init : EVP_PKEY_decrypt_init)(context.get()), 1) << last_error();
    if (digest != nullptr && EVP_PKEY_CTX_ctrl_str(context.get(), "digest", digest) != 1) return {};
    const auto once = encrypting ? EVP_PKEY_encrypt : EVP_PKEY_decrypt;
    std::size_t size = 0;
    if (once(context.get(), nullptr, &size, in.data(), in.size()) != 1) return {};
    Bytes out(size);
    if (once(context.get(), out.data(), &size, in.data(), in.size()) != 1) {
        EXPECT_EQ(out, Bytes(out.size())) << "left behind";
        return {};
    }
    out.resize(size);
    return out;
}

TEST_F(Provider, KeysSignaturesAndCiphertextsCrossOver) {
    const Identity identities[] = {{}, "", "1234567812345678", std::string(8190, 'i')};
    for (const auto& [from, to] : directions) {
        const Key made = from.generate(), carried = carry(made, to);
        EXPECT_EQ(EVP_PKEY_eq(made.get(), carried.get()), 1);
        for (const Key* key : {&made, &carried}) {
            const KeyContext context(
                EVP_PKEY_CTX_new_from_pkey((key == &made ? from : to).library, key->get(), nullptr));
            EXPECT_EQ(EVP_PKEY_check(context.get()), 1) << last_error();
        }
        for (const Identity& identity : identities) {
            const Bytes message = pattern(100), signature = Signer{from, made.get(), identity}.sign(message);
            EXPECT_TRUE((Signer{to, carried.get(), identity}.verify(message, signature)));
            EXPECT_FALSE((Signer{to, carried.get(), "another"}.verify(message, signature)));
        }
        for (std::size_t size = 1; size < 400; size += 1 + size / 4) {
            const Bytes message = pattern(size), ciphertext = cipher_once(from, made.get(), true, message);
            EXPECT_EQ(cipher_once(to, carried.get(), false, ciphertext), message) << size << last_error();
        }
    }
}

TEST_F(Provider, RefusesAlteredSignaturesAndCiphertexts) {
    const Key key = ours.generate();
    const Bytes message = pattern(20), signature = Signer{ours, key.get(), {}}.sign(message),
                ciphertext = cipher_once(ours, key.get(), true, message);
    EXPECT_EQ(cipher_once(ours, key.get(), true, {}), Bytes());
    EXPECT_EQ(last_error(), "empty message");
    EXPECT_EQ(cipher_once(ours, key.get(), true, message, "SHA256"), Bytes());
    EXPECT_EQ(last_error(), "no other digest than SM3");
    for (const auto& [whole, accepted] :
         {std::pair<Bytes, std::function<bool(const Bytes&)>>{
              signature,
              [&](const Bytes& altered) {
                  return Signer{ours, key.get(), {}}.verify(message, altered);
              }},
          {ciphertext, [&](const Bytes& altered) { return !cipher_once(ours, key.get(), false, altered).empty(); }}}) {
        EXPECT_TRUE(accepted(whole));
        for (std::size_t i = 0; i < whole.size(); ++i) {
            Bytes altered = whole;
            altered[i] ^= 1;
            EXPECT_FALSE(accepted(altered)) << i;
            EXPECT_FALSE(accepted(Bytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(i)))) << i;
        }
        Bytes longer = whole;
        longer.push_back(0);
        EXPECT_FALSE(accepted(longer));
    }
    ERR_clear_error();
}

/// The module, told that version 4 loads it.
int initialise_under_4(const OSSL_CORE_HANDLE* handle, const OSSL_DISPATCH* in, const OSSL_DISPATCH** out, void** own) {
    static OSSL_DISPATCH upcalls[128];
    OSSL_FUNC_core_get_params_fn* const answer = [](const OSSL_CORE_HANDLE*, OSSL_PARAM* wanted) {
        return OSSL_PARAM_set_utf8_ptr(OSSL_PARAM_locate(wanted, OSSL_PROV_PARAM_CORE_VERSION), "4.0.3");
    };
    for (OSSL_DISPATCH* to = upcalls; in->function_id != 0; ++in) {
        *to++ = in->function_id == OSSL_FUNC_CORE_GET_PARAMS
                    ? OSSL_DISPATCH{in->function_id, reinterpret_cast<void (*)()>(answer)}
                    : *in;
    }
    void* const symbol = dlsym(dlopen(ULMARO_MODULES "/ulmaro.so", RTLD_NOW), "OSSL_provider_init");
    return reinterpret_cast<OSSL_provider_init_fn*>(symbol)(handle, upcalls, out, own);
}

// Its own signers without an identity have the usual one, and those of a TLS handshake another.
TEST_F(Provider, FollowsTheVersionThatLoadsIt) {
    Side later{false};
    OSSL_PROVIDER_add_builtin(later.library, "ulmaro", initialise_under_4);
    later.ulmaro = OSSL_PROVIDER_load(later.library, "ulmaro");
    EVP_set_default_properties(later.library, "?provider=ulmaro");
    const Key key = theirs.generate(), carried = carry(key, later);
    const Bytes message = pattern(50);
    for (const auto& [asked, meant] :
         {std::pair<Identity, Identity>{{}, "1234567812345678"}, {"", ""}, {"someone", "someone"}}) {
        const Bytes signature = Signer{later, carried.get(), asked}.sign(message);
        EXPECT_TRUE((Signer{theirs, key.get(), meant}.verify(message, signature))) << meant.value();
    }
    const Bytes handshake = Signer{theirs, key.get(), "TLSv1.3+GM+Cipher+Suite"}.sign(message);
    for (unsigned version : {0x0303U, 0x0304U}) {
        Signer verifier{later, carried.get(), {}};
        EXPECT_TRUE(verifier.start(false));
        const OSSL_PARAM told[] = {OSSL_PARAM_construct_uint("tls-version", &version), OSSL_PARAM_construct_end()};
        EXPECT_EQ(EVP_PKEY_CTX_set_params(EVP_MD_CTX_get_pkey_ctx(verifier.context.get()), told), 1);
        EXPECT_EQ(EVP_DigestVerify(verifier.context.get(), handshake.data(), handshake.size(), message.data(),
                                   message.size()),
                  version == 0x0304 ? 1 : 0);
    }
    for (const auto& [side, expected] : {std::pair<const Side&, int>{later, 1}, {ours, OPENSSL_VERSION_MAJOR >= 4}}) {
        int schemes = 0;
        OSSL_CALLBACK* const count = [](const OSSL_PARAM*, void* counted) { return ++*static_cast<int*>(counted); };
        EXPECT_EQ(OSSL_PROVIDER_get_capabilities(side.ulmaro, "TLS-SIGALG", count, &schemes), 1);
        EXPECT_EQ(schemes, expected);
    }
}

TEST_F(Provider, RefusesIdentitiesThatAreLateOrLong) {
    const Key key = ours.generate();
    EXPECT_TRUE((Signer{ours, key.get(), std::string(8191, 'i')}.start(true)));  // one more than OpenSSL's own takes
    EXPECT_FALSE((Signer{ours, key.get(), std::string(8192, 'i')}.start(true)));
    EXPECT_EQ(last_error(), "distinguishing identifier of more than 8191 bytes");
    EXPECT_FALSE((Signer{ours, key.get(), "late"}.start(true, true)));
    EXPECT_EQ(last_error(), "distinguishing identifier not before a message");
    DigestContext context(EVP_MD_CTX_new());
    EXPECT_NE(EVP_DigestSignInit_ex(context.get(), nullptr, "SHA256", ours.library, nullptr, key.get(), nullptr), 1);
    EXPECT_EQ(last_error(), "no other digest than SM3");
    const KeyContext digests(EVP_PKEY_CTX_new_from_pkey(ours.library, key.get(), nullptr));
    EXPECT_EQ(EVP_PKEY_sign_init(digests.get()), 1);
    EXPECT_NE(EVP_PKEY_CTX_set1_id(digests.get(), "unused", 6), 1);
    Bytes out(72);
    std::size_t size = 71;
    EXPECT_NE(EVP_PKEY_sign(digests.get(), out.data(), &size, out.data(), 32), 1);
    EXPECT_EQ(last_error(), "output buffer too small");
}

TEST_F(Provider, SignsAMessageOnce) {
    const Key key = ours.generate();
    Signer signer{ours, key.get(), {}};
    ASSERT_TRUE(signer.start(true));
    EVP_MD_CTX_set_flags(signer.context.get(), EVP_MD_CTX_FLAG_FINALISE);
    for (const int expected : {1, 0}) {
        Bytes out(72);
        std::size_t size = out.size();
        EXPECT_EQ(EVP_DigestSignUpdate(signer.context.get(), "a", 1), expected);
        EXPECT_EQ(EVP_DigestSignFinal(signer.context.get(), out.data(), &size), expected);
    }
    ERR_clear_error();
}

/// A copy in the middle of a message goes on by itself, and the key outlives the object that it was given for.
TEST_F(Provider, CopiesGoTheirOwnWay) {
    Key key = ours.generate();
    const Key same = carry(key, theirs);
    Signer one{ours, key.get(), "someone"};
    ASSERT_TRUE(one.start(true));
    ASSERT_EQ(EVP_DigestSignUpdate(one.context.get(), "given up", 8), 1);
    one.key = nullptr;  // the same once more
    ASSERT_TRUE(one.start(true));
    ASSERT_EQ(EVP_DigestSignUpdate(one.context.get(), "ab", 2), 1);
    Signer two{ours, nullptr, {}};
    ASSERT_EQ(EVP_MD_CTX_copy_ex(two.context.get(), one.context.get()), 1);
    key.reset();
    for (Signer* signer : {&one, &two}) {
        const char* const rest = signer == &one ? "c" : "d";
        Bytes signature(72);
        std::size_t size = signature.size();
        ASSERT_EQ(EVP_DigestSignUpdate(signer->context.get(), rest, 1), 1);
        ASSERT_EQ(EVP_DigestSignFinal(signer->context.get(), signature.data(), &size), 1);
        signature.resize(size);
        const Bytes message{'a', 'b', static_cast<unsigned char>(*rest)};
        EXPECT_TRUE((Signer{theirs, same.get(), "someone"}.verify(message, signature)));
    }
}

/// Calls use(words, rest) for the lines of a table of tests/vectors with that many words before the rest.
void for_each_case(const char* file, std::size_t count,
                   const std::function<void(std::span<std::string>, std::string)>& use) {
    std::ifstream cases(std::string(ULMARO_VECTORS "/") + file);
    std::string line, rest;
    std::vector<std::string> words(count);
    int used = 0;
    while (std::getline(cases, line)) {
        if (line.starts_with('#')) continue;
        std::istringstream in(line);
        for (std::string& word : words) in >> word;
        std::getline(in >> std::ws, rest);
        SCOPED_TRACE(line);
        use(words, rest);
        ++used;
    }
    EXPECT_GT(used, 15);
}

/// A key as a program hands it to EVP, or null.
Key import_key(const Side& side, std::string group, Bytes point, Bytes scalar) {
    std::ranges::reverse(scalar);
    std::vector<OSSL_PARAM> list{OSSL_PARAM_construct_utf8_string("group", group.data(), 0)};
    if (!point.empty()) list.push_back(OSSL_PARAM_construct_octet_string("pub", point.data(), point.size()));
    if (!scalar.empty()) list.push_back(OSSL_PARAM_construct_BN("priv", scalar.data(), scalar.size()));
    list.push_back(OSSL_PARAM_construct_end());
    const KeyContext context(EVP_PKEY_CTX_new_from_name(side.library, "SM2", nullptr));
    EVP_PKEY* key = nullptr;
    EVP_PKEY_fromdata_init(context.get());
    EVP_PKEY_fromdata(context.get(), &key, EVP_PKEY_KEYPAIR, list.data());
    return Key(key);
}

TEST_F(Provider, ImportsOnlyKeysOfTheCurve) {
    for_each_case("provider_keys.txt", 3, [&](std::span<std::string> words, const std::string& expected) {
        const Key key = import_key(ours, words[0], from_hex(words[1]), from_hex(words[2]));
        const KeyContext context(key ? EVP_PKEY_CTX_new_from_pkey(ours.library, key.get(), nullptr) : nullptr);
        Bytes out(65);
        const auto check = words[2] == "-" ? EVP_PKEY_public_check : EVP_PKEY_check;
        const bool good = key && check(context.get()) == 1 &&
                          EVP_PKEY_get_octet_string_param(key.get(), "pub", out.data(), out.size(), nullptr) == 1;
        EXPECT_EQ(good ? to_hex(out) : last_error(), expected);
    });
    // Halves that do not belong together are each good by themselves.
    Bytes point(65);
    EVP_PKEY_get_octet_string_param(import_key(ours, "SM2", {}, {1}).get(), "pub", point.data(), point.size(), nullptr);
    const Key key = import_key(ours, "SM2", point, {2});
    const KeyContext context(EVP_PKEY_CTX_new_from_pkey(ours.library, key.get(), nullptr));
    EXPECT_EQ(EVP_PKEY_public_check(context.get()), 1);
    EXPECT_EQ(EVP_PKEY_private_check(context.get()), 1);
    EXPECT_NE(EVP_PKEY_pairwise_check(context.get()), 1);
}

TEST_F(Provider, TakesSignaturesAndCiphertextsStrictly) {
    const Key key = import_key(ours, "SM2", {}, {1});
    const KeyContext context(EVP_PKEY_CTX_new_from_pkey(ours.library, key.get(), nullptr));
    for_each_case("provider_der.txt", 2, [&](std::span<std::string> words, const std::string& expected) {
        const Bytes digest = from_hex(words[0]), der = from_hex(words[1]);
        std::string outcome;
        if (digest.empty()) {
            outcome = to_hex(cipher_once(ours, key.get(), false, der));
        } else {
            EVP_PKEY_verify_init(context.get());
            if (EVP_PKEY_verify(context.get(), der.data(), der.size(), digest.data(), digest.size()) == 1)
                outcome = "valid";
        }
        if (outcome.empty()) outcome = last_error();
        EXPECT_EQ(outcome.empty() ? "wrong" : outcome, expected);
    });
}

/// Eight threads on one key that OpenSSL's own management holds, which reaches ours by an import at first use.
TEST_F(Provider, ThreadsShareAKey) {
    const Key key = carry(theirs.generate(), ours);
    std::vector<std::jthread> threads;
    for (std::size_t number = 1; number <= 8; ++number) {
        threads.emplace_back([&, number] {
            for (std::size_t round = 0; round < 20; ++round) {
                const Bytes message = pattern(number * 10 + round);
                Signer signer{ours, key.get(), std::to_string(number)};
                const Bytes signature = signer.sign(message);
                EXPECT_TRUE((Signer{ours, key.get(), signer.identity}.verify(message, signature)));
                EXPECT_EQ(cipher_once(ours, key.get(), false, cipher_once(ours, key.get(), true, message)), message);
                EXPECT_EQ(cipher_calls(ours, number, false), cipher_calls(ours, number, true));
            }
        });
    }
}

/// Errors go to the library context of the object, and the module outlives any one of them.
TEST_F(Provider, LibraryContextsAreIndependent) {
    const Key key = ours.generate();
    {
        const Side other(true);
        const Key same = carry(key, other);
        EXPECT_TRUE((Signer{ours, key.get(), {}}.verify({1}, Signer{other, same.get(), {}}.sign({1}))));
    }
    EXPECT_EQ(cipher_once(ours, key.get(), true, {}), Bytes());
    EXPECT_EQ(last_error(), "empty message");
}

}  // namespace
