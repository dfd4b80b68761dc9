// Keys in every supported form: PKCS#8 (also encrypted), SEC1, SubjectPublicKeyInfo, certificates and requests, PEM or
// DER, hexadecimal digits or base64 of what is not PEM, and the library's own records.
#pragma once

#include <functional>
#include <optional>
#include <string>

#include "formats/pbes2.hpp"
#include "support/sm2.hpp"

namespace ulmaro::tool {

/// A public key, and its private key where there is one.
struct Key {
    PublicKey point;
    std::optional<PrivateKey> secret;
};

enum class KeyFormat { pem, der, hex, raw };

/// Called only when a key turns out to be encrypted.
using AskPassphrase = std::function<SecretBuffer()>;

/// Reads a key in any form, recognised by its content. Checks range, curve, and that a public key belongs to the
/// private one. Throws FormatError.
void read_key(algrithm::View content, const AskPassphrase& ask, Key& key);

/// PKCS#8 of a key with its private one, encrypted when passphrase is not empty; or d as 64 digits or 32 bytes.
SecretBuffer write_private_key(const Key& key, KeyFormat format, algrithm::View passphrase,
                               SealingCipher cipher = SealingCipher::aes);

/// SubjectPublicKeyInfo; or 04 || x || y in digits, or the 64-byte record x || y.
SecretBuffer write_public_key(const PublicKey& point, KeyFormat format);

}  // namespace ulmaro::tool
