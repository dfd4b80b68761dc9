#include "u256/montgomery.hpp"

namespace ulmaro::u256 {
namespace {

/// What Residues needs from an architecture, in portable form.
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
        add(high, high, {m[0] & negative, m[1] & negative, m[2] & negative, m[3] & negative});
        return {low[0], low[1], low[2], low[3], high[0], high[1], high[2], high[3]};
    }

    /// a / 2; adds m to an odd number first.
    static U256 half(const U256& a, const Limbs& m) noexcept {
        const Mask odd = mask_from_bit(a.w[0] & 1);
        U256 r;
        const std::uint64_t carry = add(r.w, a.w, {m[0] & odd, m[1] & odd, m[2] & odd, m[3] & odd});
        for (int i = 0; i < 3; ++i) r.w[i] = r.w[i] >> 1 | r.w[i + 1] << 63;
        r.w[3] = r.w[3] >> 1 | carry << 63;
        return r;
    }
};

using Inlined = Residues<PortableChains>;

}  // namespace

U256 PortableResidues::mul(const U256& a, const U256& b) const noexcept { return Inlined(m_).mul(a, b); }

U256 PortableResidues::mul_sub(const U256& a, const U256& b, const U256& c, const U256& d) const noexcept {
    return Inlined(m_).mul_sub(a, b, c, d);
}

U256 PortableResidues::add(const U256& a, const U256& b) const noexcept { return Inlined(m_).add(a, b); }

U256 PortableResidues::sub(const U256& a, const U256& b) const noexcept { return Inlined(m_).sub(a, b); }

U256 PortableResidues::half(const U256& a) const noexcept { return Inlined(m_).half(a); }

U256 PortableResidues::negated_if(Mask mask, const U256& a) const noexcept { return Inlined(m_).negated_if(mask, a); }

}  // namespace ulmaro::u256
