// SM4 in counter mode, from ECB.
#pragma once

#include <array>
#include <cstddef>

#include "UlmaroAlgrithm.h"

namespace ulmaro::provider {

using Block = std::array<unsigned char, ULMARO_SM4_BLOCK_BYTES>;

/// out = in XOR key stream, size bytes; out may be in. The state of the stream is `counter`, that of the next block,
/// big-endian; `block`, the key stream of the block before; and `used`, the bytes used of it, 0 when it is used up.
void add_key_stream(const unsigned int* schedule, Block& counter, Block& block, std::size_t& used, unsigned char* out,
                    const unsigned char* in, std::size_t size);

}  // namespace ulmaro::provider
