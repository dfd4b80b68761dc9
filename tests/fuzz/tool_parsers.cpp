// What the tool reads: keys, signatures, ciphertexts, digits, lists of digests. Input is arbitrary; what is accepted
// stays the same when written and read again, and strict formats have only one form.
#include <mbedtls/pkcs5.h>

#include <cstring>
#include <optional>
#include <string>

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
using View = std::span<const unsigned char>;

constexpr char correct_passphrase[] = "pass";
const View passphrase(reinterpret_cast<const unsigned char*>(correct_passphrase), 4);

std::string_view text_of(View bytes) { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }

/// What read returns; nothing if it refuses the input in one of the two expected ways.
template <class Read>
auto accepted(Read&& read) -> std::optional<decltype(read())> {
    try {
        return read();
    } catch (const FormatError&) {
    } catch (const Failure&) {
    }
    return std::nullopt;
}

bool read(View content, tool::Key& key) {
    return accepted([&] {
               read_key(
                   content, [] { return copy_of(passphrase); }, key);
               return true;
           })
        .has_value();
}

void check_key(View content) {
    tool::Key key;
    if (!read(content, key)) return;
    require(usable(key.point), "an accepted public key is usable");
    require(!key.has_secret || usable(*key.secret), "an accepted private key is usable");
    const auto check = [&](const SecretBuffer& written, bool with_secret) {
        tool::Key again;
        require(read(written.span(), again), "a written key is read");
        require(again.has_secret == with_secret && std::memcmp(&again.point, &key.point, sizeof key.point) == 0 &&
                    (!with_secret || std::memcmp(&*again.secret, &*key.secret, sizeof(ECC_PRIVATE_KEY)) == 0),
                "a written key is the same when read");
    };
    for (const KeyFormat format : {KeyFormat::pem, KeyFormat::der, KeyFormat::hex, KeyFormat::raw}) {
        check(write_public_key(key.point, format), false);
        if (!key.has_secret) continue;
        check(write_private_key(key, format, {}), true);
        check(write_private_key(key, format, passphrase), true);
    }
}

void check_signature(View content, SignatureFormat format) {
    const auto signature = accepted([&] { return read_signature(content, format); });
    if (!signature) return;
    for (const SignatureFormat other : {SignatureFormat::der, SignatureFormat::raw, SignatureFormat::hex}) {
        const ECC_SIGNATURE again = read_signature(write_signature(*signature, other).span(), other);
        require(std::memcmp(&again, &*signature, sizeof again) == 0, "a written signature is the same when read");
    }
    if (format != SignatureFormat::hex) {
        require(equal(write_signature(*signature, format).span(), content), "a signature has one form");
    }
}

constexpr CiphertextFormat ciphertext_formats[] = {CiphertextFormat::der,         CiphertextFormat::record,
                                                   CiphertextFormat::c1c3c2,      CiphertextFormat::c1c2c3,
                                                   CiphertextFormat::c1c3c2_bare, CiphertextFormat::c1c2c3_bare};

void check_ciphertext(View content, CiphertextFormat format) {
    const auto record = accepted([&] { return read_ciphertext(content, format); });
    if (!record) return;
    for (const CiphertextFormat other : ciphertext_formats) {
        const SecretBuffer written = write_ciphertext(record->span(), other);
        require(equal(read_ciphertext(written.span(), other).span(), record->span()),
                "a written ciphertext is the same when read");
        require(other != format || equal(written.span(), content), "a ciphertext has one form");
    }
    // Anything accepted as a record can be passed to the library.
    ECC_PRIVATE_KEY key{};
    key.d[31] = 2;
    accepted([&] { return decrypt(record->span(), key); });
}

void check_digits(View content) {
    const std::string_view text = text_of(content);
    Bytes bytes(text.size() / 2);
    if (!tool::from_hex(text, bytes)) {
        require(text.size() % 2 != 0 || !is_hex(text), "digits are refused for a reason");
        return;
    }
    require(is_hex(text), "accepted digits are digits");
    const std::string again = tool::to_hex(bytes);
    require(std::ranges::equal(text, again, [](char a, char b) { return (a >= 'A' && a <= 'F' ? a + 32 : a) == b; }),
            "digits in lower case");
}

void check_checksum(const Checksum& checksum) {
    for (const ChecksumForm form : {ChecksumForm::text, ChecksumForm::binary, ChecksumForm::tagged}) {
        const std::string line = write_checksum(checksum, form);
        require(line.find_first_of("\r\n") == std::string::npos, "a line is one line");
        const auto again = read_checksum(line);
        require(again && again->digest == checksum.digest && again->name == checksum.name,
                "a written line is the same when read");
    }
}

void check_list(View content) {
    const auto line = read_checksum(text_of(content));
    if (line) check_checksum(*line);
    if (content.empty()) return;
    Checksum any{{}, std::string(text_of(content))};
    std::copy_n(content.begin(), std::min(content.size(), any.digest.size()), any.digest.begin());
    check_checksum(any);
}

}  // namespace

void run(Data& data) {
    // The last byte chooses, so a file plus one byte is an input.
    const auto choice = data.any<unsigned char>();
    const Bytes content = data.rest();
    constexpr SignatureFormat signature_formats[] = {SignatureFormat::der, SignatureFormat::raw, SignatureFormat::hex};
    if (choice >= 's' && choice <= 'u') return check_signature(content, signature_formats[choice - 's']);
    if (choice >= 'c' && choice <= 'h') return check_ciphertext(content, ciphertext_formats[choice - 'c']);
    if (choice == 'x') return check_digits(content);
    choice == 'l' ? check_list(content) : check_key(content);
}

/// Secrets are wiped, even where a buffer used to be larger.
void run_edges() {
    wiped = 0;
    {
        const Secret<std::array<unsigned char, 32>> record;
        SecretBuffer buffer(100);
        buffer.shrink(40);
    }
    require(wiped == 132, "secrets are wiped");
}

}  // namespace ulmaro::fuzz
