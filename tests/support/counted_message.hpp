// Messages for the digests of counted messages.
#pragma once

#include <algorithm>

#include "sm3/counter_digests.hpp"
#include "sm3/rounds.hpp"
#include "support/bytes.hpp"

namespace ulmaro::test {

/// z || counter with the counter's bytes left as noise.
inline sm3::CounterMessage counted(const Bytes& z) {
    sm3::CounterMessage m{};
    const std::size_t whole = z.size() / 64;
    std::ranges::copy(sm3::kInitialValue, m.v);
    sm3::portable_kernels.compress(m.v, z.data(), whole);
    std::copy(z.begin() + static_cast<std::ptrdiff_t>(64 * whole), z.end(), m.bytes);
    m.counter_offset = z.size() % 64;
    std::fill_n(m.bytes + m.counter_offset, 4, static_cast<unsigned char>(0xa5));
    m.bytes[m.counter_offset + 4] = 0x80;
    m.blocks = m.counter_offset + 4 < 56 ? 1 : 2;
    const auto bits = static_cast<unsigned int>(z.size() + 4) * 8;
    std::ranges::copy(be_bytes(std::span(&bits, 1)), m.bytes + 64 * m.blocks - 4);
    return m;
}

}  // namespace ulmaro::test
