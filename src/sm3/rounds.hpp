// The functions and the round of the SM3 compression (GM/T 0004 clauses 4.3, 4.4 and 5.3).
#pragma once

#include <cstdint>

#include "base/bytes.hpp"
#include "sm3/constants.hpp"

namespace ulmaro::sm3 {

constexpr std::uint32_t p0(std::uint32_t x) noexcept { return x ^ rotl32(x, 9) ^ rotl32(x, 17); }
constexpr std::uint32_t p1(std::uint32_t x) noexcept { return x ^ rotl32(x, 15) ^ rotl32(x, 23); }

/// W_j from W_(j-16), W_(j-13), W_(j-9), W_(j-6), W_(j-3).
constexpr std::uint32_t expand(std::uint32_t w16, std::uint32_t w13, std::uint32_t w9, std::uint32_t w6,
                               std::uint32_t w3) noexcept {
    return p1(w16 ^ w9 ^ rotl32(w3, 15)) ^ rotl32(w13, 7) ^ w6;
}

/// FF_j and GG_j of the rounds below 16 and from 16 on. The later ones are written without a chain of three
/// dependent operations on the newest word.
template <bool early>
constexpr std::uint32_t ff(std::uint32_t x, std::uint32_t y, std::uint32_t z) noexcept {
    return early ? x ^ (y ^ z) : (x & (y | z)) | (y & z);
}
template <bool early>
constexpr std::uint32_t gg(std::uint32_t x, std::uint32_t y, std::uint32_t z) noexcept {
    return early ? x ^ (y ^ z) : ((y ^ z) & x) ^ z;
}

/// One round in place. Instead of moving eight registers the caller renames them: what the standard calls A..H is
/// afterwards in d, a, b, c, h, e, f, g. t is T_j <<< j, w is W_j, wp is W'_j.
template <bool early>
[[gnu::always_inline]] inline void round(std::uint32_t a, std::uint32_t& b, std::uint32_t c, std::uint32_t& d,
                                         std::uint32_t e, std::uint32_t& f, std::uint32_t g, std::uint32_t& h,
                                         std::uint32_t t, std::uint32_t w, std::uint32_t wp) noexcept {
    const std::uint32_t a12 = rotl32(a, 12);
    const std::uint32_t ss1 = rotl32((a12 + t) + e, 7);
    const std::uint32_t tt1 = (ff<early>(a, b, c) + (d + wp)) + (ss1 ^ a12);
    const std::uint32_t tt2 = (gg<early>(e, f, g) + (h + w)) + ss1;
    b = rotl32(b, 9);
    d = tt1;
    f = rotl32(f, 19);
    h = p0(tt2);
}

}  // namespace ulmaro::sm3
