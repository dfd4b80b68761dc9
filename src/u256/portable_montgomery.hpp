// The carry chains of Residues in portable form.
#pragma once

#include "u256/montgomery.hpp"

namespace ulmaro::u256 {

struct PortableChains : PortableProduct {
    /// a + b modulo m, for a sum below 2m.
    static U256 sum(const U256& a, const U256& b, const Limbs& m) noexcept {
        U256 r;
        add_mod(r.w, a.w, b.w, m);
        return r;
    }

    static U256 sub(const U256& a, const U256& b, const Limbs& m) noexcept {
        U256 r;
        subtract_mod(r.w, a.w, b.w, m);
        return r;
    }

    /// a - b modulo m for products of numbers below m; adds 2^256 m to a negative difference.
    static Product difference(const Product& a, const Product& b, const Limbs& m) noexcept {
        Limbs low = {a.t0, a.t1, a.t2, a.t3}, high = {a.t4, a.t5, a.t6, a.t7};
        const Limbs b_high = {b.t4, b.t5, b.t6, b.t7};
        const std::uint64_t borrow = subtract(low, low, {b.t0, b.t1, b.t2, b.t3});
        const std::uint64_t over = subtract(high, high, b_high);
        const std::uint64_t under = subtract(high, high, {borrow, 0, 0, 0});
        const Mask negative = mask_from_bit(over | under);
        add(high, high, masked(m, negative).w);
        return {low[0], low[1], low[2], low[3], high[0], high[1], high[2], high[3]};
    }

    /// a / 2; adds m to an odd number first.
    static U256 half(const U256& a, const Limbs& m) noexcept {
        const Mask odd = mask_from_bit(a.w[0] & 1);
        U256 r;
        const std::uint64_t carry = add(r.w, a.w, masked(m, odd).w);
        for (int i = 0; i < 3; ++i) r.w[i] = r.w[i] >> 1 | r.w[i + 1] << 63;
        r.w[3] = r.w[3] >> 1 | carry << 63;
        return r;
    }
};

}  // namespace ulmaro::u256
