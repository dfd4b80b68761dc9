// The ASN.1 structures of keys (RFC 5208, RFC 5280, RFC 5915), without PEM around them.
#pragma once

#include "formats/keys.hpp"

namespace ulmaro::tool {

/// Reads PKCS#8, encrypted PKCS#8, SEC1 or SubjectPublicKeyInfo.
void read_key_der(std::span<const unsigned char> der, const AskPassphrase& ask, Key& key);

void write_pkcs8(DerWriter& out, const Key& key);
void write_public_key_info(DerWriter& out, const PublicKey& point);

/// 04 || x || y.
std::array<unsigned char, 65> uncompressed(const PublicKey& point);
/// Reads 04 || x || y or x || y; what it reads is not checked against the curve.
PublicKey read_point(std::span<const unsigned char> bytes);
/// Takes d over and computes the public key. Throws FormatError when d is out of range.
void set_secret(Key& key, std::span<const unsigned char> d);
/// Takes a public key over after checking it.
void set_point(Key& key, const PublicKey& point);

}  // namespace ulmaro::tool
