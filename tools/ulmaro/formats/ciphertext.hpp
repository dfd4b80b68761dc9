// SM2 ciphertexts in the layouts in use. Conversions go by way of the library's type:
//   record       x || y || C3 || length (4 bytes, little-endian) || C2
//   der          SEQUENCE { x, y, C3, C2 }, GM/T 0009 clause 7.2
//   c1c3c2       04 || x || y || C3 || C2, GM/T 0003.4 in the order of 2012
//   c1c2c3       04 || x || y || C2 || C3, the order before it
//   ...-bare     the same two without the 04
#pragma once

#include "support/secret.hpp"
#include "support/sm2.hpp"

namespace ulmaro::tool {

enum class CiphertextFormat { der, record, c1c3c2, c1c2c3, c1c3c2_bare, c1c2c3_bare };

/// A ciphertext of at least one byte. Throws FormatError.
Ciphertext read_ciphertext(algrithm::View bytes, CiphertextFormat format);
SecretBuffer write_ciphertext(const Ciphertext& ciphertext, CiphertextFormat format);

}  // namespace ulmaro::tool
