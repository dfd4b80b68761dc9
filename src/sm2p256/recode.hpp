// Prepares scalars for recoding into signed digits.
#pragma once

#include "sm2p256/scalar.hpp"
#include "u256/recode.hpp"

namespace ulmaro::sm2p256 {

using u256::bits;
using u256::Choice;
using u256::choice;
using u256::recode_vartime;

/// An odd number equal to k or -k modulo n, in [1, n]. Returns a set mask if it is -k.
inline Mask make_odd(U256& odd, const U256& k) noexcept {
    odd = reduce_to_order(k);
    const Mask even = mask_from_bit((odd.w[0] & 1) ^ 1);
    U256 opposite;
    subtract(opposite.w, group_order.w, odd.w);
    assign_if(even, odd.w, opposite.w);
    return even;
}

}  // namespace ulmaro::sm2p256
