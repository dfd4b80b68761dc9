// Square roots modulo the recommended curve's prime, for points with a chosen x.
#pragma once

#include "sm2p256/field.hpp"
#include "support/bytes.hpp"

namespace ulmaro::test {

/// y with y^2 = yy; false where there is none. The exponent (p + 1) / 4 is the upper bits of p and 1.
inline bool square_root(sm2p256::Fe& y, const sm2p256::Fe& yy) {
    using F = sm2p256::PortableField;
    y = sm2p256::fe_one;
    for (int bit = 255; bit >= 2; --bit) {
        y = F::sqr(y);
        if ((sm2p256::field_prime.w[bit / 64] >> (bit % 64) & 1) != 0) y = F::mul(y, yy);
    }
    y = F::mul(y, yy);
    return snapshot(F::sqr(y)) == snapshot(yy);
}

}  // namespace ulmaro::test
