#include "formats/pbes2.hpp"

#include <mbedtls/asn1.h>
#include <mbedtls/cipher.h>
#include <mbedtls/md.h>
#include <mbedtls/oid.h>
#include <mbedtls/pkcs5.h>

#include <array>
#include <string_view>

#include "support/error.hpp"
#include "support/random.hpp"

namespace ulmaro::tool {
namespace {

constexpr unsigned new_iterations = 200000;     // about a third of a second
constexpr unsigned most_iterations = 10000000;  // a hostile file must not keep the machine busy for hours
constexpr std::size_t block_bytes = 16;

struct AesOid {
    std::string_view oid;
    mbedtls_cipher_type_t type;
};

constexpr AesOid aes_ciphers[] = {
    {"\x60\x86\x48\x01\x65\x03\x04\x01\x2A", MBEDTLS_CIPHER_AES_256_CBC},
    {"\x60\x86\x48\x01\x65\x03\x04\x01\x16", MBEDTLS_CIPHER_AES_192_CBC},
    {"\x60\x86\x48\x01\x65\x03\x04\x01\x02", MBEDTLS_CIPHER_AES_128_CBC},
};
constexpr std::string_view pbes2_oid(MBEDTLS_OID_PKCS5_PBES2);
constexpr std::string_view pbkdf2_oid(MBEDTLS_OID_PKCS5_PBKDF2);
constexpr std::string_view hmac_sha256_oid(MBEDTLS_OID_HMAC_SHA256);

bool operator==(std::span<const unsigned char> bytes, std::string_view text) {
    return std::string_view(reinterpret_cast<const char*>(bytes.data()), bytes.size()) == text;
}

struct Scheme {
    mbedtls_md_type_t md = MBEDTLS_MD_SHA256;
    mbedtls_cipher_type_t cipher = MBEDTLS_CIPHER_AES_256_CBC;
    unsigned iterations = new_iterations;
    std::span<const unsigned char> salt;
    std::span<const unsigned char> iv;
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

void derive(const Scheme& scheme, std::span<const unsigned char> passphrase, std::span<unsigned char> key) {
    MdContext md;
    if (mbedtls_md_setup(md.get(), mbedtls_md_info_from_type(scheme.md), 1) != 0 ||
        mbedtls_pkcs5_pbkdf2_hmac(md.get(), passphrase.data(), passphrase.size(), scheme.salt.data(),
                                  scheme.salt.size(), scheme.iterations, static_cast<std::uint32_t>(key.size()),
                                  key.data()) != 0) {
        throw Failure("the key derivation failed");
    }
}

/// False when the padding is wrong, which only decryption can see. The result has at most in.size() + 16 bytes.
bool crypt(mbedtls_operation_t direction, const Scheme& scheme, std::span<const unsigned char> passphrase,
           std::span<const unsigned char> in, SecretBuffer& out) {
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

mbedtls_md_type_t read_prf(DerReader algorithm) {
    const auto oid = algorithm.take(der_oid);
    if (!algorithm.done()) algorithm.take(der_null);
    algorithm.finish();
    mbedtls_asn1_buf name{};
    name.p = const_cast<unsigned char*>(oid.data());
    name.len = oid.size();
    mbedtls_md_type_t md = MBEDTLS_MD_NONE;
    if (mbedtls_oid_get_md_hmac(&name, &md) != 0) throw FormatError("encrypted with an unknown hash");
    return md;
}

void read_derivation(DerReader algorithm, Scheme& scheme) {
    if (!(algorithm.take(der_oid) == pbkdf2_oid))
        throw FormatError("encrypted in an unknown way; only PBKDF2 is supported");
    DerReader parameters = algorithm.enter();
    algorithm.finish();
    scheme.salt = parameters.take(der_octet_string);
    scheme.iterations = parameters.small_integer();
    if (scheme.iterations == 0 || scheme.iterations > most_iterations) {
        throw FormatError("encrypted with an unreasonable number of iterations");
    }
    if (parameters.next_is(der_integer))
        parameters.small_integer();  // the key length, which follows from the cipher too
    scheme.md = parameters.done() ? MBEDTLS_MD_SHA1 : read_prf(parameters.enter());
    parameters.finish();
}

void read_cipher(DerReader algorithm, Scheme& scheme) {
    const auto oid = algorithm.take(der_oid);
    scheme.iv = algorithm.take(der_octet_string);
    algorithm.finish();
    for (const AesOid& aes : aes_ciphers) {
        if (!(oid == aes.oid) || scheme.iv.size() != block_bytes) continue;
        scheme.cipher = aes.type;
        return;
    }
    throw FormatError("encrypted with an unknown cipher; only AES in CBC mode is supported");
}

}  // namespace

void write_encrypted(DerWriter& out, std::span<const unsigned char> plain, std::span<const unsigned char> passphrase) {
    std::array<unsigned char, 16> salt;
    std::array<unsigned char, block_bytes> iv;
    fill_random(salt);
    fill_random(iv);
    Scheme scheme;
    scheme.salt = salt;
    scheme.iv = iv;
    SecretBuffer sealed(plain.size() + block_bytes);
    if (!crypt(MBEDTLS_ENCRYPT, scheme, passphrase, plain, sealed)) throw Failure("the key cannot be encrypted");

    const std::size_t outer = out.mark();
    out.element(der_octet_string, sealed.span());
    const std::size_t algorithm = out.mark();
    out.element(der_octet_string, iv);
    out.oid(aes_ciphers[0].oid);
    out.wrap(der_sequence, algorithm);
    const std::size_t derivation = out.mark();
    out.null();
    out.oid(hmac_sha256_oid);
    out.wrap(der_sequence, derivation);
    out.small_integer(static_cast<int>(scheme.iterations));
    out.element(der_octet_string, salt);
    out.wrap(der_sequence, derivation);
    out.oid(pbkdf2_oid);
    out.wrap(der_sequence, derivation);
    out.wrap(der_sequence, algorithm);
    out.oid(pbes2_oid);
    out.wrap(der_sequence, algorithm);
    out.wrap(der_sequence, outer);
}

SecretBuffer read_encrypted(std::span<const unsigned char> der, std::span<const unsigned char> passphrase) {
    DerReader top(der);
    DerReader info = top.enter();
    top.finish();
    DerReader algorithm = info.enter();
    const auto sealed = info.take(der_octet_string);
    info.finish();
    if (!(algorithm.take(der_oid) == pbes2_oid))
        throw FormatError("encrypted in an unknown way; only PBES2 is supported");
    DerReader parameters = algorithm.enter();
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
