// Modular inversion without division, in constant time: the division steps of Bernstein and Yang ("Fast constant-time
// gcd computation and modular inversion", 2019), in the variant that starts at delta = 1/2.
#pragma once

#include "sm2p256/limbs.hpp"

namespace ulmaro::sm2p256 {

/// A signed number, sum of limb[i] * 2^(60 i): limbs 0..3 in [0, 2^60), the top one carries the sign.
struct Signed60 {
    std::int64_t limb[5];
};

/// What inversion modulo an odd prime in (2^255, 2^256) has to know.
struct InversionModulus {
    Signed60 modulus;
    std::uint64_t inverse;  // modulus^-1 modulo 2^60
    Signed60 factor;        // in [0, modulus): results are multiplied by it
};

/// r = factor / a modulo the modulus, in [0, modulus); 0 when a is 0. Needs a < modulus. r may be a.
/// Time: the same for every a.
void invert(Limbs& r, const Limbs& a, const InversionModulus& m) noexcept;

/// Inverts r0 modulo m0 and r1 modulo m1 in place, in two thirds of the time of one after the other.
void invert_two(Limbs& r0, const InversionModulus& m0, Limbs& r1, const InversionModulus& m1) noexcept;

}  // namespace ulmaro::sm2p256
