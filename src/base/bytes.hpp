// Big-endian access to byte strings, and rotation of words.
#pragma once

#include <bit>
#include <cstdint>
#include <cstring>

namespace ulmaro {

static_assert(std::endian::native == std::endian::little, "ciphertext records carry a little-endian length");
static_assert(sizeof(int) == 4 && sizeof(unsigned int) == 4, "the records are laid out in 32-bit words");

inline std::uint32_t load_be32(const unsigned char* p) noexcept {
    std::uint32_t w;
    std::memcpy(&w, p, sizeof w);
    return __builtin_bswap32(w);
}

inline void store_be32(unsigned char* p, std::uint32_t w) noexcept {
    w = __builtin_bswap32(w);
    std::memcpy(p, &w, sizeof w);
}

/// x <<< n for any n in 0..31; a shift by 32 never happens.
constexpr std::uint32_t rotl32(std::uint32_t x, unsigned n) noexcept {
    return (x << (n & 31)) | (x >> ((32 - n) & 31));
}

}  // namespace ulmaro
