// Encryption of private keys under a passphrase: PBES2 with PBKDF2 and AES in CBC mode (RFC 8018).
#pragma once

#include <span>

#include "formats/der.hpp"
#include "support/secret.hpp"

namespace ulmaro::tool {

/// EncryptedPrivateKeyInfo around plain: AES-256-CBC, HMAC-SHA-256, fresh salt and IV.
void write_encrypted(DerWriter& out, std::span<const unsigned char> plain, std::span<const unsigned char> passphrase);

/// The contents of an EncryptedPrivateKeyInfo. Reads AES of every key size and HMAC with SHA-1 or SHA-2. Throws
/// FormatError, also for a wrong passphrase.
SecretBuffer read_encrypted(std::span<const unsigned char> der, std::span<const unsigned char> passphrase);

}  // namespace ulmaro::tool
