#include "formats/pbes2.hpp"

#include <mbedtls/asn1.h>
#include <mbedtls/cipher.h>
#include <mbedtls/md.h>
#include <mbedtls/oid.h>
#include <mbedtls/pkcs5.h>

#include <algorithm>
#include <optional>
#include <string_view>

#include "support/error.hpp"
#include "support/sm2.hpp"

namespace ulmaro::tool {
namespace {

using namespace algrithm::der;
using algrithm::View;

constexpr unsigned new_iterations = 200000;     // about a third of a second
constexpr unsigned most_iterations = 10000000;  // a hostile file must not keep the machine busy for hours
constexpr std::size_t block_bytes = algrithm::Sm4::block_size;

struct Cipher {
    std::string_view oid;
    unsigned key_bytes;
    mbedtls_cipher_type_t type;  // none for SM4
};

constexpr Cipher ciphers[] = {
    {"\x60\x86\x48\x01\x65\x03\x04\x01\x2A", 32, MBEDTLS_CIPHER_AES_256_CBC},
    {"\x60\x86\x48\x01\x65\x03\x04\x01\x16", 24, MBEDTLS_CIPHER_AES_192_CBC},
    {"\x60\x86\x48\x01\x65\x03\x04\x01\x02", 16, MBEDTLS_CIPHER_AES_128_CBC},
    {"\x2A\x81\x1C\xCF\x55\x01\x68\x02", 16, MBEDTLS_CIPHER_NONE},
};
constexpr const Cipher& aes256 = ciphers[0];
constexpr const Cipher& sm4 = ciphers[3];
constexpr std::string_view pbes2_oid(MBEDTLS_OID_PKCS5_PBES2);
constexpr std::string_view pbkdf2_oid(MBEDTLS_OID_PKCS5_PBKDF2);
constexpr std::string_view hmac_sha256_oid(MBEDTLS_OID_HMAC_SHA256);
constexpr std::string_view hmac_sm3_oid("\x2A\x81\x1C\xCF\x55\x01\x83\x11\x02");

bool operator==(View bytes, std::string_view text) { return std::ranges::equal(bytes, View(text)); }

struct Scheme {
    mbedtls_md_type_t md = MBEDTLS_MD_NONE;  // none for SM3
    mbedtls_cipher_type_t cipher = MBEDTLS_CIPHER_NONE;
    unsigned iterations = new_iterations;
    std::optional<unsigned> key_bytes;  // when it is not told it follows from the cipher
    View salt;
    View iv;
};

class CipherContext {
public:
    CipherContext() { mbedtls_cipher_init(&context_); }
    ~CipherContext() { mbedtls_cipher_free(&context_); }
    CipherContext(const CipherContext&) = delete;
    CipherContext& operator=(const CipherContext&) = delete;
    mbedtls_cipher_context_t* get() { return &context_; }

private:
    mbedtls_cipher_context_t context_{};
};

class MdContext {
public:
    MdContext() { mbedtls_md_init(&context_); }
    ~MdContext() { mbedtls_md_free(&context_); }
    MdContext(const MdContext&) = delete;
    MdContext& operator=(const MdContext&) = delete;
    mbedtls_md_context_t* get() { return &context_; }

private:
    mbedtls_md_context_t context_{};
};

void derive(const Scheme& scheme, View passphrase, std::span<unsigned char> key) {
    if (scheme.md == MBEDTLS_MD_NONE) {
        return algrithm::derive_key_from_passphrase(passphrase, scheme.salt, scheme.iterations, key);
    }
    MdContext md;
    if (mbedtls_md_setup(md.get(), mbedtls_md_info_from_type(scheme.md), 1) != 0 ||
        mbedtls_pkcs5_pbkdf2_hmac(md.get(), passphrase.data(), passphrase.size(), scheme.salt.data(),
                                  scheme.salt.size(), scheme.iterations, static_cast<std::uint32_t>(key.size()),
                                  key.data()) != 0) {
        throw Failure("the key derivation failed");
    }
}

/// The three below are false when the padding is wrong, which only decryption can see. The result has at most
/// in.size() + 16 bytes.
bool crypt_sm4(mbedtls_operation_t direction, const Scheme& scheme, View passphrase, View in, SecretBuffer& out) {
    SecretBuffer key(algrithm::Sm4::block_size);
    derive(scheme, passphrase, key.span());
    const algrithm::Sm4 cipher(key.span().first<algrithm::Sm4::block_size>());
    algrithm::Sm4::Iv chain;
    std::ranges::copy(scheme.iv, chain.begin());
    if (direction == MBEDTLS_ENCRYPT) {
        out.shrink((in.size() / block_bytes + 1) * block_bytes);
        std::ranges::fill(out.span(), static_cast<unsigned char>(out.size() - in.size()));
        std::ranges::copy(in, out.data());
        cipher.cbc_encrypt(chain, out.span(), out.span());
        return true;
    }
    if (in.empty() || in.size() % block_bytes != 0) return false;
    out.shrink(in.size());
    cipher.cbc_decrypt(chain, in, out.span());
    const std::size_t padding = algrithm::Sm4::padding_of(out.span().last<block_bytes>());
    out.shrink(in.size() - padding);
    return padding != 0;
}

bool crypt_aes(mbedtls_operation_t direction, const Scheme& scheme, View passphrase, View in, SecretBuffer& out) {
    CipherContext cipher;
    if (mbedtls_cipher_setup(cipher.get(), mbedtls_cipher_info_from_type(scheme.cipher)) != 0) {
        throw Failure("the cipher cannot be set up");
    }
    const int bits = mbedtls_cipher_get_key_bitlen(cipher.get());
    SecretBuffer key(static_cast<std::size_t>(bits) / 8);
    derive(scheme, passphrase, key.span());
    if (mbedtls_cipher_setkey(cipher.get(), key.data(), bits, direction) != 0) {
        throw Failure("the cipher's key cannot be set");
    }
    std::size_t length = 0;
    if (mbedtls_cipher_crypt(cipher.get(), scheme.iv.data(), scheme.iv.size(), in.data(), in.size(), out.data(),
                             &length) != 0) {
        return false;
    }
    out.shrink(length);
    return true;
}

bool crypt(mbedtls_operation_t direction, const Scheme& scheme, View passphrase, View in, SecretBuffer& out) {
    const auto with = scheme.cipher == MBEDTLS_CIPHER_NONE ? crypt_sm4 : crypt_aes;
    return with(direction, scheme, passphrase, in, out);
}

mbedtls_md_type_t read_prf(Reader algorithm) {
    const View oid = algorithm.take(oid_tag);
    if (!algorithm.done()) algorithm.null();
    algorithm.finish();
    if (oid == hmac_sm3_oid) return MBEDTLS_MD_NONE;
    mbedtls_asn1_buf name{};
    name.p = const_cast<unsigned char*>(oid.data());
    name.len = oid.size();
    mbedtls_md_type_t md = MBEDTLS_MD_NONE;
    if (mbedtls_oid_get_md_hmac(&name, &md) != 0) throw FormatError("encrypted with an unknown hash");
    return md;
}

void read_derivation(Reader algorithm, Scheme& scheme) {
    if (!(algorithm.take(oid_tag) == pbkdf2_oid))
        throw FormatError("encrypted in an unknown way; only PBKDF2 is supported");
    Reader parameters = algorithm.enter();
    algorithm.finish();
    scheme.salt = parameters.take(octet_string_tag);
    scheme.iterations = parameters.small_integer();
    if (scheme.iterations == 0 || scheme.iterations > most_iterations) {
        throw FormatError("encrypted with an unreasonable number of iterations");
    }
    if (parameters.next_is(integer_tag)) scheme.key_bytes = parameters.small_integer();
    scheme.md = parameters.done() ? MBEDTLS_MD_SHA1 : read_prf(parameters.enter());
    parameters.finish();
}

void read_cipher(Reader algorithm, Scheme& scheme) {
    const View oid = algorithm.take(oid_tag);
    scheme.iv = algorithm.take(octet_string_tag);
    algorithm.finish();
    for (const Cipher& cipher : ciphers) {
        if (!(oid == cipher.oid) || scheme.iv.size() != block_bytes) continue;
        if (scheme.key_bytes.value_or(cipher.key_bytes) != cipher.key_bytes) {
            throw FormatError("encrypted with a key of another length than the cipher's");
        }
        scheme.cipher = cipher.type;
        return;
    }
    throw FormatError("encrypted with an unknown cipher; only AES and SM4 in CBC mode are supported");
}

}  // namespace

void write_encrypted(Writer& out, View plain, View passphrase, SealingCipher cipher) {
    const bool with_sm4 = cipher == SealingCipher::sm4;
    const Cipher& with = with_sm4 ? sm4 : aes256;
    const auto salt = algrithm::random_bytes<16>(), iv = algrithm::random_bytes<block_bytes>();
    Scheme scheme;
    scheme.md = with_sm4 ? MBEDTLS_MD_NONE : MBEDTLS_MD_SHA256;
    scheme.cipher = with.type;
    scheme.salt = salt;
    scheme.iv = iv;
    SecretBuffer sealed(plain.size() + block_bytes);
    if (!crypt(MBEDTLS_ENCRYPT, scheme, passphrase, plain, sealed)) throw Failure("the key cannot be encrypted");

    const std::size_t outer = out.mark();
    out.element(octet_string_tag, sealed.span());
    const std::size_t algorithm = out.mark();
    out.element(octet_string_tag, iv);
    out.oid(with.oid);
    out.wrap(sequence_tag, algorithm);
    const std::size_t derivation = out.mark();
    out.null();
    out.oid(with_sm4 ? hmac_sm3_oid : hmac_sha256_oid);
    out.wrap(sequence_tag, derivation);
    if (with_sm4) out.small_integer(algrithm::Sm4::block_size);  // the key length: some programs insist on it
    out.small_integer(scheme.iterations);
    out.element(octet_string_tag, salt);
    out.wrap(sequence_tag, derivation);
    out.oid(pbkdf2_oid);
    out.wrap(sequence_tag, derivation);
    out.wrap(sequence_tag, algorithm);
    out.oid(pbes2_oid);
    out.wrap(sequence_tag, algorithm);
    out.wrap(sequence_tag, outer);
}

SecretBuffer read_encrypted(View der, View passphrase) {
    Reader top(der);
    Reader info = top.enter();
    top.finish();
    Reader algorithm = info.enter();
    const auto sealed = info.take(octet_string_tag);
    info.finish();
    if (!(algorithm.take(oid_tag) == pbes2_oid))
        throw FormatError("encrypted in an unknown way; only PBES2 is supported");
    Reader parameters = algorithm.enter();
    algorithm.finish();
    Scheme scheme;
    read_derivation(parameters.enter(), scheme);
    read_cipher(parameters.enter(), scheme);
    parameters.finish();
    SecretBuffer plain(sealed.size() + block_bytes);
    if (!crypt(MBEDTLS_DECRYPT, scheme, passphrase, sealed, plain)) throw FormatError("wrong passphrase");
    return plain;
}

}  // namespace ulmaro::tool
