// The 256-bit numbers that this engine is built on.
#pragma once

#include "u256/divsteps.hpp"
#include "u256/limbs.hpp"

namespace ulmaro::sm2p256 {

using u256::add;
using u256::add_mod;
using u256::assign_if;
using u256::equal;
using u256::InversionModulus;
using u256::invert;
using u256::invert_two;
using u256::is_zero;
using u256::less;
using u256::Limbs;
using u256::load_be;
using u256::Mask;
using u256::mask_from_bit;
using u256::reduce_once;
using u256::store_be;
using u256::subtract;
using u256::subtract_mod;
using u256::U256;

}  // namespace ulmaro::sm2p256
