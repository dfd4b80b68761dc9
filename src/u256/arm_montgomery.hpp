// The carry chains of Residues on aarch64.
#pragma once

#include "u256/arm_product.hpp"
#include "u256/montgomery.hpp"

namespace ulmaro::u256 {

struct ArmChains : ArmProduct {
    [[gnu::always_inline]] static U256 sum(const U256& a, const U256& b, const Limbs& m) noexcept {
        Limb t0 = a.w[0], t1 = a.w[1], t2 = a.w[2], t3 = a.w[3], s0, s1, s2, s3, carry;
        __asm__(
            "adds %[t0], %[t0], %[b0]\n\t"
            "adcs %[t1], %[t1], %[b1]\n\t"
            "adcs %[t2], %[t2], %[b2]\n\t"
            "adcs %[t3], %[t3], %[b3]\n\t"
            "adc %[carry], xzr, xzr\n\t"
            "subs %[s0], %[t0], %[m0]\n\t"
            "sbcs %[s1], %[t1], %[m1]\n\t"
            "sbcs %[s2], %[t2], %[m2]\n\t"
            "sbcs %[s3], %[t3], %[m3]\n\t"
            "sbcs xzr, %[carry], xzr\n\t"
            "csel %[s0], %[s0], %[t0], cs\n\t"
            "csel %[s1], %[s1], %[t1], cs\n\t"
            "csel %[s2], %[s2], %[t2], cs\n\t"
            "csel %[s3], %[s3], %[t3], cs"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3), [s0] "=&r"(s0), [s1] "=&r"(s1),
              [s2] "=&r"(s2), [s3] "=&r"(s3), [carry] "=&r"(carry)
            : [b0] "r"(b.w[0]), [b1] "r"(b.w[1]), [b2] "r"(b.w[2]), [b3] "r"(b.w[3]), [m0] "r"(m[0]), [m1] "r"(m[1]),
              [m2] "r"(m[2]), [m3] "r"(m[3])
            : "cc");
        return {{s0, s1, s2, s3}};
    }

    [[gnu::always_inline]] static U256 sub(const U256& a, const U256& b, const Limbs& m) noexcept {
        Limb t0 = a.w[0], t1 = a.w[1], t2 = a.w[2], t3 = a.w[3], negative;
        __asm__(
            "subs %[t0], %[t0], %[b0]\n\t"
            "sbcs %[t1], %[t1], %[b1]\n\t"
            "sbcs %[t2], %[t2], %[b2]\n\t"
            "sbcs %[t3], %[t3], %[b3]\n\t"
            "csetm %[negative], cc"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3), [negative] "=r"(negative)
            : [b0] "r"(b.w[0]), [b1] "r"(b.w[1]), [b2] "r"(b.w[2]), [b3] "r"(b.w[3])
            : "cc");
        add_masked(t0, t1, t2, t3, negative, m);
        return {{t0, t1, t2, t3}};
    }

    [[gnu::always_inline]] static Product difference(Product a, const Product& b, const Limbs& m) noexcept {
        const Limb negative = subtract(a, b);
        add_masked(a.t4, a.t5, a.t6, a.t7, negative, m);
        return a;
    }

    [[gnu::always_inline]] static U256 half(const U256& a, const Limbs& m) noexcept {
        Limb t0 = a.w[0], t1 = a.w[1], t2 = a.w[2], t3 = a.w[3];
        const Limb carry = add_masked(t0, t1, t2, t3, value_barrier(0 - (t0 & 1)), m);
        return {{t0 >> 1 | t1 << 63, t1 >> 1 | t2 << 63, t2 >> 1 | t3 << 63, t3 >> 1 | carry << 63}};
    }

private:
    /// Adds m to t3..t0 modulo 2^256 if the mask is set; returns the carry.
    [[gnu::always_inline]] static Limb add_masked(Limb& t0, Limb& t1, Limb& t2, Limb& t3, Limb mask,
                                                  const Limbs& m) noexcept {
        Limb carry;
        __asm__(
            "adds %[t0], %[t0], %[m0]\n\t"
            "adcs %[t1], %[t1], %[m1]\n\t"
            "adcs %[t2], %[t2], %[m2]\n\t"
            "adcs %[t3], %[t3], %[m3]\n\t"
            "adc %[carry], xzr, xzr"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3), [carry] "=r"(carry)
            : [m0] "r"(m[0] & mask), [m1] "r"(m[1] & mask), [m2] "r"(m[2] & mask), [m3] "r"(m[3] & mask)
            : "cc");
        return carry;
    }
};

}  // namespace ulmaro::u256
