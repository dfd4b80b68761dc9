#include "formats/keys.hpp"

#include <mbedtls/pem.h>

#include <algorithm>
#include <string_view>
#include <utility>

#include "formats/key_der.hpp"
#include "support/error.hpp"
#include "support/hex.hpp"

namespace ulmaro::tool {
namespace {

using algrithm::PemBlock;
using algrithm::View;

constexpr std::size_t room_for_der = 512;  // an encrypted private key takes about 260 bytes

class PemContext {
public:
    PemContext() { mbedtls_pem_init(&context_); }
    ~PemContext() { mbedtls_pem_free(&context_); }  // wipes
    PemContext(const PemContext&) = delete;
    PemContext& operator=(const PemContext&) = delete;
    mbedtls_pem_context* get() { return &context_; }

private:
    mbedtls_pem_context context_{};
};

/// The parser does not remove the cipher's padding, 1 to 16 bytes that each hold their number.
View without_padding(View bytes) {
    const std::size_t pad = bytes.empty() ? 0 : bytes.back();
    if (pad == 0 || pad > 16 || pad > bytes.size()) throw FormatError("wrong passphrase");
    return bytes.first(bytes.size() - pad);
}

/// A private key encrypted in the headers of PEM (RFC 1421), from before PKCS#8: by the packaged parser, which takes
/// the block with its first and last line.
void read_old_block(const PemBlock& block, std::string_view text, const AskPassphrase& ask, Key& key) {
    const std::string begin = "-----BEGIN " + std::string(block.label) + "-----";
    const std::string end = "-----END " + std::string(block.label) + "-----";
    SecretBuffer copy(text.size() + 1);  // the parser needs a NUL at the end
    std::ranges::copy(text, copy.data());
    copy.data()[text.size()] = 0;
    PemContext pem;
    std::size_t used = 0;
    const SecretBuffer passphrase = ask();
    const int result = mbedtls_pem_read_buffer(pem.get(), begin.c_str(), end.c_str(), copy.data(), passphrase.data(),
                                               passphrase.size(), &used);
    if (result == MBEDTLS_ERR_PEM_PASSWORD_MISMATCH) throw FormatError("wrong passphrase");
    if (result == MBEDTLS_ERR_PEM_UNKNOWN_ENC_ALG) {
        throw FormatError("encrypted in the headers of PEM with an unknown cipher; 'openssl pkcs8 -topk8' converts it");
    }
    if (result != 0) throw FormatError("damaged PEM");
    read_key_der(without_padding(View(pem.get()->buf, pem.get()->buflen)), ask, key);
}

constexpr std::string_view private_key = "a private key";

std::string_view name_of(algrithm::KeyKind kind) {
    switch (kind) {
        case algrithm::KeyKind::public_key:
            return "a public key";
        case algrithm::KeyKind::certificate:
            return "a certificate";
        case algrithm::KeyKind::request:
            return "a certificate request";
        default:
            return private_key;
    }
}

/// The first key in a PEM text; everything else is skipped. False when there is no PEM at all. The labels of private
/// keys stand for each other, as programs mix them up; but a private key is not to pass for anything else.
bool read_pem(std::string_view text, const AskPassphrase& ask, Key& key) {
    constexpr std::pair<std::string_view, std::string_view> labels[] = {
        {"PRIVATE KEY", private_key},
        {"ENCRYPTED PRIVATE KEY", private_key},
        {"EC PRIVATE KEY", private_key},
        {"SM2 PRIVATE KEY", private_key},
        {"PUBLIC KEY", "a public key"},
        {"CERTIFICATE", "a certificate"},
        {"CERTIFICATE REQUEST", "a certificate request"},
        {"NEW CERTIFICATE REQUEST", "a certificate request"}};
    std::size_t at = 0;
    for (std::optional<PemBlock> block; (block = algrithm::next_pem(text, at)); at = block->end) {
        const auto* const known =
            std::ranges::find(labels, block->label, [](const auto& label) { return label.first; });
        if (known == std::end(labels)) continue;
        if (known->second == private_key && block->body.starts_with("Proc-Type:")) {
            read_old_block(*block, text.substr(at, block->end - at), ask, key);
            return true;
        }
        const SecretBuffer der = pem_contents(*block);
        const std::string_view found = name_of(algrithm::kind_of_key(der.span()));
        if (found != known->second) {
            throw FormatError("labelled " + std::string(block->label) + ", but it holds " + std::string(found));
        }
        read_key_der(der.span(), ask, key);
        return true;
    }
    if (at == 0) return false;
    throw FormatError("no key in this PEM file");
}

SecretBuffer in_hex(View bytes) {
    SecretBuffer text(bytes.size() * 2 + 1);
    write_hex(bytes, text.span().first(bytes.size() * 2));
    text.data()[bytes.size() * 2] = '\n';
    return text;
}

/// A scalar, a point or DER; false when it is none of them.
bool read_bytes(View bytes, const AskPassphrase& ask, Key& key) {
    if (bytes.size() == 32) {
        set_pair(key, algrithm::read_scalar(curve(), bytes));
    } else if (bytes.size() == 33 || bytes.size() == 64 || bytes.size() == 65) {
        key.point = algrithm::read_point(curve(), bytes);
    } else if (!bytes.empty() && bytes[0] == algrithm::der::sequence_tag) {
        read_key_der(bytes, ask, key);
    } else {
        return false;
    }
    return true;
}

}  // namespace

void read_key(View content, const AskPassphrase& ask, Key& key) {
    const std::string_view text = text_of(content);
    if (read_pem(text, ask, key)) return;
    // Bytes may look like text by chance, but then its bytes are too few for a key.
    if (const std::optional<SecretBuffer> decoded = decoded_text(text)) {
        if (read_bytes(decoded->span(), ask, key)) return;
    }
    if (read_bytes(content, ask, key)) return;
    throw FormatError("not a key: neither PEM, nor DER, nor a scalar or point, in bytes, hexadecimal digits or base64");
}

SecretBuffer write_private_key(const Key& key, KeyFormat format, View passphrase, SealingCipher cipher) {
    if (format == KeyFormat::hex) return in_hex(key.secret->bytes());
    if (format == KeyFormat::raw) return SecretBuffer::copy_of(key.secret->bytes());
    SecretBuffer plain = algrithm::private_key_to_der(*key.secret, key.point);
    if (passphrase.empty()) {
        return format == KeyFormat::der ? std::move(plain) : algrithm::to_pem("PRIVATE KEY", plain.span());
    }
    algrithm::der::Writer sealed(room_for_der);
    write_encrypted(sealed, plain.span(), passphrase, cipher);
    return format == KeyFormat::der ? SecretBuffer::copy_of(sealed.bytes())
                                    : algrithm::to_pem("ENCRYPTED PRIVATE KEY", sealed.bytes());
}

SecretBuffer write_public_key(const PublicKey& point, KeyFormat format) {
    if (format == KeyFormat::hex) return in_hex(algrithm::uncompressed(point));
    if (format == KeyFormat::raw) return SecretBuffer::copy_of(point.bytes());
    const algrithm::Bytes der = algrithm::public_key_to_der(point);
    return format == KeyFormat::der ? SecretBuffer::copy_of(der) : algrithm::to_pem("PUBLIC KEY", der);
}

}  // namespace ulmaro::tool
