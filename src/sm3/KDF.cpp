// The SM2 key derivation function (GM/T 0003.4 clause 5.4.3): SM3(z || 1) || SM3(z || 2) || ... with 32-bit counters.
//
// The blocks that hold only bytes of z are compressed once; every counter starts from that chaining value.
#include <algorithm>
#include <cstring>

#include "UlmaroAlgrithmInternals.hpp"
#include "base/bytes.hpp"
#include "base/memory.hpp"
#include "base/wipe.hpp"
#include "sm3/counter_digests.hpp"
#include "sm3/rounds.hpp"

namespace {

using namespace ulmaro;

constexpr std::size_t block_bytes = 64;

/// z || counter from the last whole block of z on, padded.
void prepare(sm3::CounterMessage& message, const sm3::Kernels& kernels, const unsigned char* z,
             std::size_t size) noexcept {
    const std::size_t rest = size % block_bytes;
    std::copy_n(sm3::initial_value, 8, message.v);
    kernels.compress(message.v, z, size / block_bytes);
    std::memset(message.bytes, 0, sizeof message.bytes);
    if (rest != 0) std::memcpy(message.bytes, z + (size - rest), rest);
    message.bytes[rest + 4] = 0x80;
    message.blocks = rest + 4 < 56 ? 1 : 2;
    store_be32(message.bytes + message.blocks * block_bytes - 4, static_cast<std::uint32_t>(size + 4) * 8);
    message.counter_offset = rest;
}

}  // namespace

// All of z is read before the first output byte is written, so out may lie over z.
void KDF_ALGRITRHM(unsigned char* z, int zLen, int kLen, unsigned char* out) {
    const std::size_t size = checked_length(zLen);
    if (kLen <= 0) return;
    const sm3::Kernels& kernels = sm3::active_kernels();
    Wiped<sm3::CounterMessage> message;
    prepare(*message, kernels, z, size);
    sm3::counter_digests(kernels, *message, 1, out, static_cast<std::size_t>(kLen));
}
