// Scalars modulo the group order n, in Montgomery form and fully reduced like the field's elements: every function
// takes and returns limbs below n. Constant-time. A signature needs few operations, so one portable form will do.
#pragma once

#include "sm2p256/u256.hpp"

namespace ulmaro::sm2p256 {

/// a * 2^256 mod n.
struct Scalar {
    Limbs w;
};

inline constexpr U256 group_order = {{0x53bbf40939d54123, 0x7203df6b21c6052b, 0xffffffffffffffff, 0xfffffffeffffffff}};

inline constexpr Scalar scalar_one = {{0xac440bf6c62abedd, 0x8dfc2094de39fad4, 0x0000000000000000, 0x0000000100000000}};

/// a mod n for any 256-bit a.
U256 reduce_to_order(const U256& a) noexcept;

/// The scalar a mod n, for any 256-bit a.
Scalar scalar_from(const U256& a) noexcept;

/// The residue in [0, n).
U256 scalar_residue(const Scalar& a) noexcept;

Scalar scalar_mul(const Scalar& a, const Scalar& b) noexcept;
Scalar scalar_add(const Scalar& a, const Scalar& b) noexcept;
Scalar scalar_sub(const Scalar& a, const Scalar& b) noexcept;

/// For invert and invert_two on limbs.
extern const InversionModulus order_inversion;

/// a^-1; 0 for 0.
Scalar scalar_invert(const Scalar& a) noexcept;

}  // namespace ulmaro::sm2p256
