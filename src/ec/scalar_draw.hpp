// The random scalars of private keys, signatures and encryptions.
#pragma once

#include "UlmaroAlgrithmInternals.hpp"

namespace ulmaro::ec {

/// Whether scalars can be drawn for the group and its points multiplied: p is odd and the order fills its eight words.
inline bool is_usable(const ec_group_st& grp) noexcept {
    return (grp.prime.words[0] & 1) != 0 && grp.order.words[7] != 0;
}

/// The scalars of one operation, which asks for another until it can accept one. The number of draws is limited,
/// because on a degenerate curve or with a degenerate key it would reject forever.
class ScalarDraws {
public:
    explicit ScalarDraws(const ec_group_st& grp) noexcept : grp_(grp), left_(is_usable(grp) ? 256 : 0) {}

    /// k = a fresh scalar in 1..n-1, words 8 and 9 zero. False, and k = 0, when the group is unusable or the draws are
    /// used up.
    bool next(bignum_st& k) noexcept;

private:
    const ec_group_st& grp_;
    int left_;
};

}  // namespace ulmaro::ec
