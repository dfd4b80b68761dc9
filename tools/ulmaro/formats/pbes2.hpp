// Encryption of private keys under a passphrase: PBES2 with PBKDF2 and AES or SM4 in CBC mode (RFC 8018).
#pragma once

#include "support/secret.hpp"

namespace ulmaro::tool {

enum class SealingCipher {
    aes,  ///< AES-256 and HMAC-SHA-256, which every program reads
    sm4,  ///< SM4 and HMAC-SM3, as the field's other tools write it
};

/// EncryptedPrivateKeyInfo around plain, with a fresh salt and IV.
void write_encrypted(algrithm::der::Writer& out, algrithm::View plain, algrithm::View passphrase, SealingCipher cipher);

/// The contents of an EncryptedPrivateKeyInfo. Reads SM4 and AES of every key size, and HMAC with SM3, SHA-1 or SHA-2.
/// Throws FormatError, also for a wrong passphrase.
SecretBuffer read_encrypted(algrithm::View der, algrithm::View passphrase);

}  // namespace ulmaro::tool
