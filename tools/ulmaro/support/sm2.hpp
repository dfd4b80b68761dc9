// SM2 on the recommended curve: the library's C++ interface, and what a program needs besides.
#pragma once

#include <optional>
#include <string>

#include "UlmaroAlgrithm.hpp"
#include "support/digest.hpp"
#include "support/secret.hpp"

namespace ulmaro::tool {

/// Input in a wrong format. The caller that loads the file adds its name.
using FormatError = algrithm::Error;

using algrithm::Ciphertext;
using algrithm::PrivateKey;
using algrithm::PublicKey;
using algrithm::Signature;

const algrithm::Curve& curve();

/// Z. Without an identity it is the default one; at most 8191 bytes. Source: GM/T 0009 clause 8.1.
Digest identity_digest(const std::optional<std::string>& identity, const PublicKey& key);

/// e = SM3(Z || message), what is signed.
Digest message_digest(const Digest& z, Input& message, bool show_progress);

/// These two print nothing.
bool verify(const Digest& e, const PublicKey& key, const Signature& signature);
/// Throws Failure.
SecretBuffer decrypt(const Ciphertext& ciphertext, const PrivateKey& key);

/// The largest message that a ciphertext can carry and decryption accepts.
constexpr std::size_t max_carried_message = (1U << 31) - 65;

}  // namespace ulmaro::tool
