// Signed digits of 256-bit numbers.
#pragma once

#include "u256/limbs.hpp"

namespace ulmaro::u256 {

/// count bits of a from bit position up, 1 <= count <= 16, 0 <= position < 256; bits from 256 up, which a window may
/// reach, are zero. The position is public.
inline std::uint32_t bits(const U256& a, int position, int count) noexcept {
    const int word = position / 64;
    const int shift = position % 64;
    std::uint64_t x = a.w[word] >> shift;
    if (shift + count > 64 && word < 3) x |= a.w[word + 1] << (64 - shift);
    return static_cast<std::uint32_t>(x) & ((1U << count) - 1);
}

/// What a window of width w selects from a table of odd multiples 1, 3, .. 2^w - 1.
///
/// The digits of an odd number are all odd, so no window of a multiplication is empty: with
/// x = (odd + 2^(w m) - 1) / 2, digit i of m is 2 (bits w i .. w i + w - 1 of x) - (2^w - 1), between -(2^w - 1) and
/// 2^w - 1; x has the bits of odd / 2 and above them only bit w m - 1.
struct Choice {
    std::uint32_t index;
    Mask negative;
};

inline Choice choice(std::uint32_t window, int width) noexcept {
    const std::uint32_t positive = window >> (width - 1);
    const Mask negative = mask_from_bit(positive ^ 1);
    return {(window ^ static_cast<std::uint32_t>(negative)) & ((1U << (width - 1)) - 1), negative};
}

/// The non-adjacent form of width w, 2 <= w <= 15: k = sum of digit[i] 2^i, every digit zero or odd with absolute value
/// below 2^(w - 1). Returns the number of digits up to the highest non-zero one. Variable time.
inline int recode_vartime(std::int16_t (&digit)[257], const U256& k, int width) noexcept {
    int length = 0;
    std::uint32_t carry = 0;
    for (auto& d : digit) d = 0;
    for (int i = 0; i < 257;) {
        const std::uint32_t bit = i < 256 ? bits(k, i, 1) : 0;
        if (bit == carry) {
            ++i;
            continue;
        }
        const std::uint32_t window = i < 256 ? bits(k, i, width) + carry : carry;
        carry = window >> (width - 1);
        digit[i] =
            static_cast<std::int16_t>(static_cast<std::int32_t>(window) - static_cast<std::int32_t>(carry << width));
        length = i + 1;
        i += width;
    }
    return length;
}

}  // namespace ulmaro::u256
