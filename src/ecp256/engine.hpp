// Multiples of points on any curve over a prime below 2^256, on 64-bit limbs: the general engine's fast path.
#pragma once

#include "ecp256/curve.hpp"

namespace ulmaro::ecp256 {

enum class Outcome {
    finite = 0,
    infinite = 1,
    exception = 2,  // a case the formulas do not cover: out is arbitrary
};

/// out = [k]p, plain and below the prime; zeros for infinity. p has coordinates below the prime, in Montgomery form.
/// Constant time, the outcome included. Never an exception for k below the order of p when that is a large prime.
Outcome multiply_point(const Curve& curve, const Affine& p, const U256& k, Affine& out) noexcept;

/// The same for out = [s]g + [t]p, which is also an exception if two multiples being added happen to be equal.
/// Variable time: nothing here may be secret.
Outcome multiply_both_vartime(const Curve& curve, const Affine& g, const U256& s, const Affine& p, const U256& t,
                              Affine& out) noexcept;

}  // namespace ulmaro::ecp256
