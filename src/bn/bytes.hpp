// Converts 256-bit numbers between 32 big-endian bytes, as at the interface, and words, least significant first.
#pragma once

#include "UlmaroAlgrithm.h"
#include "base/bytes.hpp"

namespace ulmaro::bn {

/// out = the number in bytes[32]; words 8 and 9 become zero.
inline void from_be32(bignum_st& out, const unsigned char* bytes) noexcept {
    for (int i = 0; i < 8; ++i) out.words[i] = load_be32(bytes + 28 - 4 * i);
    out.words[8] = out.words[9] = 0;
}

/// bytes[32] = the number in words[8].
inline void to_be32(unsigned char* bytes, const unsigned int* words) noexcept {
    for (int i = 0; i < 8; ++i) store_be32(bytes + 28 - 4 * i, words[i]);
}

}  // namespace ulmaro::bn
