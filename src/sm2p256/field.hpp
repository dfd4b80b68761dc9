// The field modulo p = 2^256 - 2^224 - 2^96 + 2^64 - 1.
//
// An element a is kept as a * 2^256 mod p (Montgomery form), always fully reduced: every function needs and leaves
// limbs below p, so zero and equality are plain comparisons. Everything is constant-time.
//
// The hot functions exist once per kernel, as static members of a class that the point code takes as a template
// argument: PortableField here, others in kernels/. The rest is common.
#pragma once

#include "sm2p256/u256.hpp"
#include "u256/product.hpp"

namespace ulmaro::sm2p256 {

struct Fe {
    Limbs w;
};

inline constexpr U256 field_prime = {{0xffffffffffffffff, 0xffffffff00000000, 0xffffffffffffffff, 0xfffffffeffffffff}};

inline constexpr Fe fe_zero = {{0, 0, 0, 0}};
inline constexpr Fe fe_one = {{0x0000000000000001, 0x00000000ffffffff, 0x0000000000000000, 0x0000000100000000}};

/// The element a mod p, for any 256-bit a.
Fe fe_from(const U256& a) noexcept;

/// The residue in [0, p).
U256 fe_residue(const Fe& a) noexcept;

/// For invert and invert_two on limbs.
extern const InversionModulus field_inversion;

/// a^-1; 0 for 0.
Fe fe_invert(const Fe& a) noexcept;

/// r = a where the mask is set, else unchanged.
inline void assign_if(Mask mask, Fe& r, const Fe& a) noexcept { assign_if(mask, r.w, a.w); }

/// The field for any processor. Reduction needs no multiplication: p is -1 modulo 2^64, so m p clears a lowest limb m,
/// and what that adds above the limb is m (1 - 2^32 - 2^160 + 2^192).
struct PortableField {
    static Fe mul(const Fe& a, const Fe& b) noexcept { return reduce(u256::PortableProduct::product(a.w, b.w)); }

    static Fe sqr(const Fe& a) noexcept { return mul(a, a); }

    /// a b - c d, and a b - c^2.
    static Fe mul_sub(const Fe& a, const Fe& b, const Fe& c, const Fe& d) noexcept { return sub(mul(a, b), mul(c, d)); }

    static Fe mul_sub_sqr(const Fe& a, const Fe& b, const Fe& c) noexcept { return sub(mul(a, b), sqr(c)); }

    static Fe add(const Fe& a, const Fe& b) noexcept {
        Fe r;
        add_mod(r.w, a.w, b.w, field_prime.w);
        return r;
    }

    static Fe sub(const Fe& a, const Fe& b) noexcept {
        Fe r;
        subtract_mod(r.w, a.w, b.w, field_prime.w);
        return r;
    }

    /// a or, where the mask is set, -a for a that is not 0.
    static Fe negated_if(Mask mask, const Fe& a) noexcept {
        Fe r = a, negative;
        subtract(negative.w, field_prime.w, a.w);
        assign_if(mask, r.w, negative.w);
        return r;
    }

    /// a / 2.
    static Fe half(const Fe& a) noexcept {
        const Mask odd = mask_from_bit(a.w[0] & 1);
        const Limbs even_maker = {odd, field_prime.w[1] & odd, odd, field_prime.w[3] & odd};
        Fe r;
        const std::uint64_t carry = u256::add(r.w, a.w, even_maker);
        for (int i = 0; i < 3; ++i) r.w[i] = r.w[i] >> 1 | r.w[i + 1] << 63;
        r.w[3] = r.w[3] >> 1 | carry << 63;
        return r;
    }

private:
    /// t / 2^256 modulo p for t < 2^256 p.
    static Fe reduce(const u256::Product& t) noexcept {
        Limbs low = {t.t0, t.t1, t.t2, t.t3};
        for (int i = 0; i < 4; ++i) {
            // Stays below 2^192 + p, so the carry out of the additions and the borrow cancel.
            const std::uint64_t m = low[0];
            const Limbs plus = {m, 0, 0, m};
            const Limbs minus = {m << 32, m >> 32, m << 32, m >> 32};
            const Limbs shifted = {low[1], low[2], low[3], 0};
            u256::add(low, shifted, plus);
            subtract(low, low, minus);
        }
        Fe r;
        const Limbs high = {t.t4, t.t5, t.t6, t.t7};
        add_mod(r.w, low, high, field_prime.w);
        return r;
    }
};

}  // namespace ulmaro::sm2p256
