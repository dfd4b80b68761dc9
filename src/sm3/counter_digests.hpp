// Digests of messages that differ only in a 32-bit counter near their end.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sm3/kernels.hpp"

namespace ulmaro::sm3 {

/// The messages: v is the chaining value before their last one or two blocks; these are in bytes, padded, with the
/// counter at counter_offset, big-endian. The contents of the counter's four bytes do not matter.
struct CounterMessage {
    std::uint32_t v[8];
    unsigned char bytes[128];
    std::size_t blocks;
    std::size_t counter_offset;
};

/// out := the digests for the counters first, first + 1, ... (modulo 2^32), 32 bytes each, cut to size bytes. out does
/// not overlap the message, whose counter bytes change. No scratch copy of words or digests is left behind.
void counter_digests(const Kernels& kernels, CounterMessage& message, std::uint32_t first, unsigned char* out,
                     std::size_t size) noexcept;

}  // namespace ulmaro::sm3
