// 256-bit numbers as four 64-bit limbs, least significant first: the carry chains that fields and scalars share.
// Nothing here branches or indexes on a value.
#pragma once

#include <cstdint>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

#include "base/barrier.hpp"

namespace ulmaro::u256 {

__extension__ using Wide = unsigned __int128;

using Limbs = std::uint64_t[4];

/// Any number in [0, 2^256).
struct U256 {
    Limbs w;
};

/// All ones or all zeros. Masks made from secrets pass through value_barrier, so the compiler cannot turn the selection
/// back into a branch.
using Mask = std::uint64_t;

/// bit is 0 or 1.
inline Mask mask_from_bit(std::uint64_t bit) noexcept { return value_barrier(0 - bit); }

inline Mask is_zero(const Limbs& a) noexcept {
    const std::uint64_t any = a[0] | a[1] | a[2] | a[3];
    return mask_from_bit(1 ^ ((any | (0 - any)) >> 63));
}

inline Mask equal(const Limbs& a, const Limbs& b) noexcept {
    const Limbs difference = {a[0] ^ b[0], a[1] ^ b[1], a[2] ^ b[2], a[3] ^ b[3]};
    return is_zero(difference);
}

/// r = a if the mask is set, else unchanged.
inline void assign_if(Mask mask, Limbs& r, const Limbs& a) noexcept {
    for (int i = 0; i < 4; ++i) r[i] ^= mask & (r[i] ^ a[i]);
}

/// a + b + carry, or a - b - borrow, modulo 2^64; carry and borrow are 0 or 1 and are updated.
#if defined(__x86_64__)
// Compilers turn these into carry chains by themselves.
using Carry = unsigned char;

inline std::uint64_t add_with_carry(std::uint64_t a, std::uint64_t b, Carry& carry) noexcept {
    unsigned long long sum;
    carry = _addcarry_u64(carry, a, b, &sum);
    return sum;
}

inline std::uint64_t subtract_with_borrow(std::uint64_t a, std::uint64_t b, Carry& borrow) noexcept {
    unsigned long long difference;
    borrow = _subborrow_u64(borrow, a, b, &difference);
    return difference;
}
#else
using Carry = std::uint64_t;

inline std::uint64_t add_with_carry(std::uint64_t a, std::uint64_t b, Carry& carry) noexcept {
    const Wide sum = static_cast<Wide>(a) + b + carry;
    carry = static_cast<std::uint64_t>(sum >> 64);
    return static_cast<std::uint64_t>(sum);
}

inline std::uint64_t subtract_with_borrow(std::uint64_t a, std::uint64_t b, Carry& borrow) noexcept {
    const Wide difference = static_cast<Wide>(a) - b - borrow;
    borrow = static_cast<std::uint64_t>(difference >> 64) & 1;
    return static_cast<std::uint64_t>(difference);
}
#endif

/// r = a + b modulo 2^256; returns the carry, 0 or 1. r may be a or b, here and below.
inline std::uint64_t add(Limbs& r, const Limbs& a, const Limbs& b) noexcept {
    Carry carry = 0;
    for (int i = 0; i < 4; ++i) r[i] = add_with_carry(a[i], b[i], carry);
    return carry;
}

/// r = a - b modulo 2^256; returns the borrow, 0 or 1.
inline std::uint64_t subtract(Limbs& r, const Limbs& a, const Limbs& b) noexcept {
    Carry borrow = 0;
    for (int i = 0; i < 4; ++i) r[i] = subtract_with_borrow(a[i], b[i], borrow);
    return borrow;
}

/// Set if a < b.
inline Mask less(const Limbs& a, const Limbs& b) noexcept {
    Limbs difference;
    return mask_from_bit(subtract(difference, a, b));
}

/// Reduces carry * 2^256 + r from [0, 2m) to [0, m).
inline void reduce_once(Limbs& r, std::uint64_t carry, const Limbs& m) noexcept {
    Limbs reduced;
    const std::uint64_t borrow = subtract(reduced, r, m);
    assign_if(mask_from_bit(carry | (borrow ^ 1)), r, reduced);
}

/// r = a + b modulo m. Needs a + b < 2m; r < m.
inline void add_mod(Limbs& r, const Limbs& a, const Limbs& b, const Limbs& m) noexcept {
    const std::uint64_t carry = add(r, a, b);
    reduce_once(r, carry, m);
}

/// r = a - b modulo m. Needs a, b < m; r < m.
inline void subtract_mod(Limbs& r, const Limbs& a, const Limbs& b, const Limbs& m) noexcept {
    const Mask negative = mask_from_bit(subtract(r, a, b));
    const Limbs back = {m[0] & negative, m[1] & negative, m[2] & negative, m[3] & negative};
    add(r, r, back);
}

/// Big-endian bytes, 32 of them.
inline void load_be(Limbs& r, const std::uint8_t* bytes) noexcept {
    std::memcpy(r, bytes, 32);
    const Limbs w = {__builtin_bswap64(r[3]), __builtin_bswap64(r[2]), __builtin_bswap64(r[1]),
                     __builtin_bswap64(r[0])};
    std::memcpy(r, w, 32);
}

inline void store_be(std::uint8_t* bytes, const Limbs& a) noexcept {
    const Limbs w = {__builtin_bswap64(a[3]), __builtin_bswap64(a[2]), __builtin_bswap64(a[1]),
                     __builtin_bswap64(a[0])};
    std::memcpy(bytes, w, 32);
}

}  // namespace ulmaro::u256
