// 256-bit numbers as four 64-bit limbs, least significant first: the carry chains that fields, scalars and word-array
// numbers share. Nothing here branches or indexes on a value. Carry chains are written out, because g++ leaves the
// limbs of a loop in memory below -O3.
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
    r[0] ^= mask & (r[0] ^ a[0]);
    r[1] ^= mask & (r[1] ^ a[1]);
    r[2] ^= mask & (r[2] ^ a[2]);
    r[3] ^= mask & (r[3] ^ a[3]);
}

/// a if the mask is set, else 0. Behind barriers, or g++ puts the ANDs between the additions of a carry chain and has
/// to save the carry each time.
inline U256 masked(const Limbs& a, Mask mask) noexcept {
    return {{value_barrier(a[0] & mask), value_barrier(a[1] & mask), value_barrier(a[2] & mask),
             value_barrier(a[3] & mask)}};
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
    r[0] = add_with_carry(a[0], b[0], carry);
    r[1] = add_with_carry(a[1], b[1], carry);
    r[2] = add_with_carry(a[2], b[2], carry);
    r[3] = add_with_carry(a[3], b[3], carry);
    return carry;
}

/// r = a - b modulo 2^256; returns the borrow, 0 or 1.
inline std::uint64_t subtract(Limbs& r, const Limbs& a, const Limbs& b) noexcept {
    Carry borrow = 0;
    r[0] = subtract_with_borrow(a[0], b[0], borrow);
    r[1] = subtract_with_borrow(a[1], b[1], borrow);
    r[2] = subtract_with_borrow(a[2], b[2], borrow);
    r[3] = subtract_with_borrow(a[3], b[3], borrow);
    return borrow;
}

/// Set if a < b.
inline Mask less(const Limbs& a, const Limbs& b) noexcept {
    Limbs difference;
    return mask_from_bit(subtract(difference, a, b));
}

/// Subtracts m from carry * 2^256 + r unless that is less: from [0, 2m) to [0, m). Returns the new carry.
inline std::uint64_t reduce_once(Limbs& r, std::uint64_t carry, const Limbs& m) noexcept {
    Limbs reduced;
    const std::uint64_t borrow = subtract(reduced, r, m);
    assign_if(mask_from_bit(carry | (borrow ^ 1)), r, reduced);
    return carry & (borrow ^ 1);
}

/// r = a + b modulo m. Needs a + b < 2m; r < m.
inline void add_mod(Limbs& r, const Limbs& a, const Limbs& b, const Limbs& m) noexcept {
    const std::uint64_t carry = add(r, a, b);
    reduce_once(r, carry, m);
}

/// r = a - b modulo m. Needs a, b < m; r < m. Returns the borrow of a - b.
inline std::uint64_t subtract_mod(Limbs& r, const Limbs& a, const Limbs& b, const Limbs& m) noexcept {
    const std::uint64_t borrow = subtract(r, a, b);
    add(r, r, masked(m, mask_from_bit(borrow)).w);
    return borrow;
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
