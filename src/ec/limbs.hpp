// Groups and their numbers on 64-bit limbs.
#pragma once

#include <cstring>

#include "UlmaroAlgrithm.h"
#include "bn/u256.hpp"
#include "ecp256/curve.hpp"

namespace ulmaro::ec {

using bn::limbs;

/// out = a, words 8 and 9 zero.
inline void from_limbs(bignum_st& out, const u256::U256& a) noexcept {
    out = {};
    bn::store(out.words, a);
}

/// Whether the 64-bit engine can handle a group: prepared, with a prime and an order of eight words. (The exported
/// routines read as many words of a scalar as the order has.)
inline bool fits_limbs(const ec_group_st& grp) noexcept {
    return grp.prime_top == 8 && grp.order_top == 8 && (grp.prime.words[0] & 1) != 0 &&
           std::memcmp(&grp.generator.Z, &grp.mont_one, sizeof grp.mont_one) == 0;
}

inline ecp256::Curve curve_of(const ec_group_st& grp) noexcept {
    return {u256::modulus(limbs(grp.prime.words)), limbs(grp.a_mont.words), limbs(grp.mont_one.words), limbs(grp.rr)};
}

}  // namespace ulmaro::ec
