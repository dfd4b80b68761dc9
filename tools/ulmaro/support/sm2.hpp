// SM2 on the recommended curve: the library's entry points with the checks they leave to the caller.
#pragma once

#include <optional>
#include <span>
#include <string>

#include "UlmaroAlgrithm.h"
#include "support/digest.hpp"
#include "support/secret.hpp"

namespace ulmaro::tool {

using PrivateKey = Secret<ECC_PRIVATE_KEY>;

/// 1 <= d <= n - 2. Constant time in d.
bool usable(const ECC_PRIVATE_KEY& key);

/// Both coordinates below p, and the point on the curve.
bool usable(const ECC_PUBLIC_KEY& key);

void generate_key_pair(ECC_PRIVATE_KEY& key, ECC_PUBLIC_KEY& point);
ECC_PUBLIC_KEY public_key_of(const ECC_PRIVATE_KEY& key);

/// Z, the digest of a user identity, the curve and a public key. Without an identity it is the default one,
/// "1234567812345678"; at most 8191 bytes. Source: GM/T 0009 clause 8.1.
Digest identity_digest(const std::optional<std::string>& identity, const ECC_PUBLIC_KEY& point);

/// e = SM3(Z || message), what is signed.
Digest message_digest(const Digest& z, Input& message, bool show_progress);

ECC_SIGNATURE sign(const Digest& e, const ECC_PRIVATE_KEY& key);
bool verify(const Digest& e, const ECC_PUBLIC_KEY& point, const ECC_SIGNATURE& signature);

/// The largest message that is encrypted.
constexpr std::size_t max_message = algrithm::max_message_size;
/// The largest message that a record can carry and decryption accepts.
constexpr std::size_t max_record_message = (1U << 31) - 65;
/// Bytes of a ciphertext record before the encrypted message.
constexpr std::size_t record_header_bytes = sizeof(Ulmaro_ECC_CIPHER_BLOB);

/// Ciphertext record of a message of 1 to max_message bytes. Throws Failure.
SecretBuffer encrypt(std::span<const unsigned char> message, const ECC_PUBLIC_KEY& point);
/// The message in a record whose length field matches its size. Throws Failure.
SecretBuffer decrypt(std::span<const unsigned char> record, const ECC_PRIVATE_KEY& key);

}  // namespace ulmaro::tool
