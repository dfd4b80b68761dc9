// Products and inverses modulo the order of a group: the arithmetic of a signature that meets its secrets.
#pragma once

#include "UlmaroAlgrithmInternals.hpp"
#include "u256/montgomery.hpp"

namespace ulmaro::ec {

/// Modulo an odd order, which every prime one is, in constant time; modulo an even one on the exported routines. The
/// order must fill its eight words. Results have words 8 and 9 zero and may be operands.
class Order {
public:
    explicit Order(ec_group_st& grp) noexcept;

    /// r = a b mod n, for a, b < n.
    void mul(bignum_st& r, bignum_st& a, bignum_st& b) const noexcept;

    /// r = 1/a mod n for a < n, 0 when there is none.
    void invert(bignum_st& r, bignum_st& a) const noexcept;

private:
    bool odd() const noexcept { return (n_.words[0] & 1) != 0; }

    bignum_st& n_;
    u256::Modulus modulus_{};
    u256::U256 factor_{};  // 2^512 mod n
};

}  // namespace ulmaro::ec
