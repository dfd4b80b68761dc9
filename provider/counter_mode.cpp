#include "counter_mode.hpp"

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "base/wipe.hpp"

namespace ulmaro::provider {
namespace {

constexpr std::size_t block_size = ULMARO_SM4_BLOCK_BYTES;

/// Writes consecutive counters, and leaves the next one.
void write_counters(unsigned char* out, std::size_t blocks, Block& counter) noexcept {
    std::uint64_t high, low;
    std::memcpy(&high, counter.data(), 8);
    std::memcpy(&low, counter.data() + 8, 8);
    low = __builtin_bswap64(low);
    const auto store = [&](unsigned char* at) {
        const std::uint64_t big_endian = __builtin_bswap64(low);
        std::memcpy(at, &high, 8);
        std::memcpy(at + 8, &big_endian, 8);
    };
    for (std::size_t i = 0; i < blocks; ++i) {
        store(out + block_size * i);
        if (++low == 0) high = __builtin_bswap64(__builtin_bswap64(high) + 1);
    }
    store(counter.data());
}

void add(unsigned char* out, const unsigned char* in, const unsigned char* stream, std::size_t size) noexcept {
    std::size_t i = 0;
    for (; i + 64 <= size; i += 64) {
        std::uint64_t words[8], key[8];
        std::memcpy(words, in + i, sizeof words);
        std::memcpy(key, stream + i, sizeof key);
        for (int j = 0; j < 8; ++j) words[j] ^= key[j];
        std::memcpy(out + i, words, sizeof words);
    }
    for (; i < size; ++i) out[i] = in[i] ^ stream[i];
}

}  // namespace

void add_key_stream(const unsigned int* schedule, Block& counter, Block& block, std::size_t& used, unsigned char* out,
                    const unsigned char* in, std::size_t size) {
    if (used != 0) {
        const std::size_t part = std::min(size, block_size - used);
        add(out, in, block.data() + used, part);
        used = (used + part) % block_size;
        out += part;
        in += part;
        size -= part;
    }
    alignas(64) unsigned char stream[4096];
    const std::size_t touched = std::min((size + block_size - 1) / block_size * block_size, sizeof stream);
    while (size != 0) {
        const std::size_t part = std::min(size, sizeof stream), blocks = (part + block_size - 1) / block_size;
        write_counters(stream, blocks, counter);
        SM4_X_ECB_EN_MODE(stream, static_cast<int>(block_size * blocks), schedule, stream);
        add(out, in, stream, part);
        used = part % block_size;
        if (used != 0) std::copy_n(stream + block_size * (blocks - 1), block_size, block.begin());
        out += part;
        in += part;
        size -= part;
    }
    secure_wipe(stream, touched);
}

}  // namespace ulmaro::provider
