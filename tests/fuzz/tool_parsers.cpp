// What the tool reads: keys, signatures, ciphertexts, lists of digests. Input is arbitrary; what is accepted
// stays the same when written and read again, and strict formats have only one form.
#include <mbedtls/pkcs5.h>

#include <array>
#include <functional>
#include <optional>

#include "formats/checksums.hpp"
#include "formats/ciphertext.hpp"
#include "formats/keys.hpp"
#include "formats/signature.hpp"
#include "fuzz/fuzz.hpp"
#include "support/error.hpp"
#include "support/hex.hpp"
#include "support/sm2.hpp"

extern "C" decltype(mbedtls_pkcs5_pbkdf2_hmac) __real_mbedtls_pkcs5_pbkdf2_hmac, __wrap_mbedtls_pkcs5_pbkdf2_hmac;

// Key derivation is as slow as the file says, by design. Not here: both writing and reading use this instead.
int __wrap_mbedtls_pkcs5_pbkdf2_hmac(mbedtls_md_context_t* ctx, const unsigned char* password, std::size_t plen,
                                     const unsigned char* salt, std::size_t slen, unsigned int iterations,
                                     std::uint32_t key_length, unsigned char* output) {
    return __real_mbedtls_pkcs5_pbkdf2_hmac(ctx, password, plen, salt, slen, std::min(iterations, 2U), key_length,
                                            output);
}

static std::size_t wiped = 0;
extern "C" decltype(explicit_bzero) __real_explicit_bzero, __wrap_explicit_bzero;
void __wrap_explicit_bzero(void* memory, std::size_t size) noexcept {
    wiped += size;
    __real_explicit_bzero(memory, size);
}

namespace ulmaro::fuzz {
namespace {

using namespace tool;
using algrithm::View;

/// Whether read returns; it may refuse the input in one of the two expected ways.
bool accepted(const std::function<void()>& read) {
    try {
        read();
        return true;
    } catch (const FormatError&) {
    } catch (const Failure&) {
    }
    return false;
}

void check_key(View content) {
    const Bytes passphrase = {'p', 'a', 's', 's'};
    const auto ask = [&] { return SecretBuffer::copy_of(passphrase); };
    const auto read = [&](View bytes, tool::Key& key) { return accepted([&] { read_key(bytes, ask, key); }); };
    tool::Key key;
    if (!read(content, key)) return;
    require(curve().contains(key.point) && (!key.secret || curve().public_key(*key.secret) == key.point),
            "an accepted key is usable");
    const auto check = [&](const SecretBuffer& written, bool with_secret) {
        tool::Key again;
        require(read(written.span(), again) && again.secret.has_value() == with_secret, "a written key is read");
        require(again.point == key.point, "a written point is the same when read");
        require(!with_secret || equal(again.secret->bytes(), key.secret->bytes()), "a written secret is the same");
    };
    for (const KeyFormat format : {KeyFormat::pem, KeyFormat::der, KeyFormat::hex, KeyFormat::raw}) {
        check(write_public_key(key.point, format), false);
        if (!key.secret) continue;
        check(write_private_key(key, format, {}), true);
        check(write_private_key(key, format, passphrase), true);
    }
}

constexpr SignatureFormat signature_formats[] = {SignatureFormat::der, SignatureFormat::raw, SignatureFormat::hex};

void check_signature(View content, SignatureFormat format) {
    std::optional<Signature> signature;
    if (!accepted([&] { signature = read_signature(content, format); })) return;
    for (const SignatureFormat other : signature_formats) {
        const SecretBuffer written = write_signature(*signature, other);
        require(read_signature(written.span(), other) == *signature, "a signature read again");
        const bool one_form = other == format && format != SignatureFormat::hex && !decoded_text(text_of(content));
        require(!one_form || equal(written.span(), content), "a signature has one form");
    }
}

constexpr CiphertextFormat ciphertext_formats[] = {CiphertextFormat::der,         CiphertextFormat::record,
                                                   CiphertextFormat::c1c3c2,      CiphertextFormat::c1c2c3,
                                                   CiphertextFormat::c1c3c2_bare, CiphertextFormat::c1c2c3_bare};

void check_ciphertext(View content, CiphertextFormat format) {
    std::optional<Ciphertext> ciphertext;
    if (!accepted([&] { ciphertext = read_ciphertext(content, format); })) return;
    for (const CiphertextFormat other : ciphertext_formats) {
        const SecretBuffer written = write_ciphertext(*ciphertext, other);
        require(read_ciphertext(written.span(), other) == *ciphertext, "a ciphertext read again");
        const bool one_form = other == format && !decoded_text(text_of(content));
        require(!one_form || equal(written.span(), content), "a ciphertext has one form");
    }
    // Anything accepted can be passed to the library.
    std::array<unsigned char, 32> d{};
    d[31] = 2;
    accepted([&] { decrypt(*ciphertext, PrivateKey(d)); });
}

void check_list(View content) {
    std::array<unsigned char, 32> digest{};
    std::copy_n(content.begin(), std::min(content.size(), digest.size()), digest.begin());
    const Checksum any{Digest(digest), std::string(text_of(content))};
    for (const auto& checksum : {read_checksum(any.name), std::optional(any)}) {
        if (!checksum || checksum->name.empty() || checksum->name.find('\0') != std::string::npos) continue;
        for (const ChecksumForm form : {ChecksumForm::text, ChecksumForm::binary, ChecksumForm::tagged}) {
            const std::string line = write_checksum(*checksum, form);
            require(line.find_first_of("\r\n") == std::string::npos, "a line is one line");
            const auto again = read_checksum(line);
            require(again && again->digest == checksum->digest && again->name == checksum->name, "a line read again");
        }
    }
}

}  // namespace

void run(Data& data) {
    // The last byte chooses, so a file plus one byte is an input.
    const auto choice = data.any<unsigned char>();
    const Bytes content = data.rest();
    if (choice >= 's' && choice <= 'u') return check_signature(content, signature_formats[choice - 's']);
    if (choice >= 'c' && choice <= 'h') return check_ciphertext(content, ciphertext_formats[choice - 'c']);
    choice == 'l' ? check_list(content) : check_key(content);
}

/// Secrets are wiped, even where a buffer used to be larger.
void run_edges() {
    wiped = 0;
    {
        const PrivateKey key(std::array<unsigned char, 32>{});
        SecretBuffer buffer(100);
        buffer.shrink(40);
    }
    require(wiped == 132, "secrets are wiped");
}

}  // namespace ulmaro::fuzz
