// Arithmetic modulo the order of a group, as far as a signature uses it on secrets.
#pragma once

#include "UlmaroAlgrithmInternals.hpp"
#include "u256/montgomery.hpp"

namespace ulmaro::ec {

using u256::U256;

/// Constant-time modulo an odd order, such as any prime one; modulo an even one, the exported routines compute products
/// and inverses. The order must fill its eight words. Results are below it. The caller wipes what is left on the stack.
class Order {
public:
    explicit Order(ec_group_st& grp) noexcept;

    /// a mod n, for any a.
    U256 reduced(const U256& a) const noexcept { return mul(a, {{1, 0, 0, 0}}); }

    /// a + b and a - b mod n, for a, b < n.
    U256 add(const U256& a, const U256& b) const noexcept;
    U256 sub(const U256& a, const U256& b) const noexcept;

    /// a b mod n, for any a and b < n.
    U256 mul(const U256& a, const U256& b) const noexcept;

    /// 1/a mod n for a < n, 0 if there is none.
    U256 invert(const U256& a) const noexcept;

    /// Set for a private key that can sign: 0 < d < n - 1.
    u256::Mask is_signing_key(const U256& d) const noexcept;

private:
    bool odd() const noexcept { return (n_.words[0] & 1) != 0; }

    bignum_st& n_;
    u256::Modulus modulus_;
    U256 factor_;  // 2^512 mod n for an odd n, else 0
};

}  // namespace ulmaro::ec
