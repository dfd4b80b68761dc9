// Modular inversion without division, in constant time: the division steps of Bernstein and Yang ("Fast constant-time
// gcd computation and modular inversion", 2019), in the variant that starts at delta = 1/2.
#pragma once

#include "u256/limbs.hpp"

namespace ulmaro::u256 {

/// A signed number, the sum of limb[i] * 2^(60 i): limbs 0..3 in [0, 2^60), the top one signed.
struct Signed60 {
    std::int64_t limb[5];
};

/// What inversion modulo an odd number below 2^256 needs.
struct InversionModulus {
    Signed60 modulus;
    std::uint64_t inverse;  // modulus^-1 modulo 2^60
    Signed60 factor;        // in [0, modulus): results are multiplied by it
};

/// The same number in limbs of 60 bits.
constexpr Signed60 to_signed60(const Limbs& a) noexcept {
    constexpr auto limb = [](std::uint64_t x) { return static_cast<std::int64_t>(x & ((std::uint64_t{1} << 60) - 1)); };
    return {{limb(a[0]), limb(a[0] >> 60 | a[1] << 4), limb(a[1] >> 56 | a[2] << 8), limb(a[2] >> 52 | a[3] << 12),
             static_cast<std::int64_t>(a[3] >> 48)}};
}

/// r = factor / a modulo the modulus, in [0, modulus); 0 if a is 0. Needs a < modulus. r may be a. If the two have a
/// common divisor, r is some number below the modulus.
/// Takes the same time for every a.
void invert(Limbs& r, const Limbs& a, const InversionModulus& m) noexcept;

/// Inverts r0 modulo m0 and r1 modulo m1 in place, in two thirds of the time of two separate inversions.
void invert_two(Limbs& r0, const InversionModulus& m0, Limbs& r1, const InversionModulus& m1) noexcept;

}  // namespace ulmaro::u256
