// The functions and the round of the SM3 compression (GM/T 0004 clauses 4.3, 4.4 and 5.3).
#pragma once

#include <cstdint>

#include "base/bytes.hpp"
#include "sm3/constants.hpp"

namespace ulmaro::sm3 {

constexpr std::uint32_t p0(std::uint32_t x) noexcept { return x ^ rotl32(x, 9) ^ rotl32(x, 17); }
/// x ^ (x <<< 15) ^ (x <<< 23)
constexpr std::uint32_t p1(std::uint32_t x) noexcept { return x ^ rotl32(x ^ rotl32(x, 8), 15); }

/// W_j from W_(j-16), W_(j-13), W_(j-9), W_(j-6), W_(j-3).
constexpr std::uint32_t expand(std::uint32_t w16, std::uint32_t w13, std::uint32_t w9, std::uint32_t w6,
                               std::uint32_t w3) noexcept {
    return p1(w16 ^ w9 ^ rotl32(w3, 15)) ^ rotl32(w13, 7) ^ w6;
}

/// One round in place. Instead of moving eight registers the caller renames them: what the standard calls A..H is
/// afterwards in d, a, b, c, h, e, f, g. t is T_j <<< j, w is W_j, wp is W'_j.
template <bool early>
[[gnu::always_inline]] inline void round(std::uint32_t a, std::uint32_t& b, std::uint32_t c, std::uint32_t& d,
                                         std::uint32_t e, std::uint32_t& f, std::uint32_t g, std::uint32_t& h,
                                         std::uint32_t t, std::uint32_t w, std::uint32_t wp) noexcept {
    const std::uint32_t a12 = rotl32(a, 12);
    const std::uint32_t ss1 = rotl32((a12 + t) + e, 7);
    std::uint32_t tt1 = d + wp, tt2 = h + w;
    if constexpr (early) {
        tt1 += a ^ (b ^ c);
        tt2 += e ^ (f ^ g);
    } else {
        tt1 += b & c;
        tt1 += (b ^ c) & a;  // the two have no bit in common
        tt2 += ((f ^ g) & e) ^ g;
    }
    tt1 += ss1 ^ a12;
    tt2 += ss1;
    b = rotl32(b, 9);
    d = tt1;
    f = rotl32(f, 19);
    h = p0(tt2);
}

}  // namespace ulmaro::sm3
