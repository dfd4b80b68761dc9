// Signatures as DER SEQUENCE { r, s } (GM/T 0009 clause 7.3), as the 64-byte record r || s, or as its digits.
#pragma once

#include <span>

#include "UlmaroAlgrithm.h"
#include "support/secret.hpp"

namespace ulmaro::tool {

enum class SignatureFormat { der, raw, hex };

/// Throws FormatError.
ECC_SIGNATURE read_signature(std::span<const unsigned char> bytes, SignatureFormat format);
SecretBuffer write_signature(const ECC_SIGNATURE& signature, SignatureFormat format);

}  // namespace ulmaro::tool
