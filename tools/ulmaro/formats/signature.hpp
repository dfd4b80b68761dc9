// Signatures as DER SEQUENCE { r, s } (GM/T 0009 clause 7.3), as the 64-byte record r || s, or as its digits.
#pragma once

#include "support/secret.hpp"
#include "support/sm2.hpp"

namespace ulmaro::tool {

enum class SignatureFormat { der, raw, hex };

/// Throws FormatError.
Signature read_signature(algrithm::View bytes, SignatureFormat format);
SecretBuffer write_signature(const Signature& signature, SignatureFormat format);

}  // namespace ulmaro::tool
