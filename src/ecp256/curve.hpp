// A curve y^2 = x^3 + a x + b over a prime field below 2^256: what computing multiples needs.
#pragma once

#include "u256/montgomery.hpp"

namespace ulmaro::ecp256 {

using u256::is_zero;
using u256::Mask;
using u256::U256;

/// Numbers modulo p are in Montgomery form with the factor 2^256.
struct Curve {
    u256::Modulus p;
    U256 a;
    U256 one;
    U256 factor;  // 2^512 mod p, a plain number: converts to Montgomery form
};

/// Coordinates below p, in Montgomery form.
struct Affine {
    U256 x, y;
};

}  // namespace ulmaro::ecp256
