// The carry chains of Residues on x86-64 with BMI2 and ADX. The modular sum stands both here and in the recommended
// curve's field: sharing one function made signatures a tenth slower, because g++ then keeps operands in memory instead
// of registers.
#pragma once

#include "u256/montgomery.hpp"
#include "u256/x86_product.hpp"

namespace ulmaro::u256 {

struct X86Chains : X86Product {
    [[gnu::always_inline]] static U256 sum(const U256& a, const U256& b, const Limbs& m) noexcept {
        Limb t0 = a.w[0], t1 = a.w[1], t2 = a.w[2], t3 = a.w[3];
        Limb carry = add4(t0, t1, t2, t3, b.w);
        Limb s0 = t0, s1 = t1, s2 = t2, s3 = t3;
        __asm__(
            "sub %[m0], %[s0]\n\t"
            "sbb %[m1], %[s1]\n\t"
            "sbb %[m2], %[s2]\n\t"
            "sbb %[m3], %[s3]\n\t"
            "sbb $0, %[carry]\n\t"
            "cmovc %[t0], %[s0]\n\t"
            "cmovc %[t1], %[s1]\n\t"
            "cmovc %[t2], %[s2]\n\t"
            "cmovc %[t3], %[s3]"
            : [s0] "+&r"(s0), [s1] "+&r"(s1), [s2] "+&r"(s2), [s3] "+&r"(s3), [carry] "+&r"(carry)
            : [t0] "r"(t0), [t1] "r"(t1), [t2] "r"(t2), [t3] "r"(t3), [m0] "m"(m[0]), [m1] "m"(m[1]), [m2] "m"(m[2]),
              [m3] "m"(m[3])
            : "cc");
        return {{s0, s1, s2, s3}};
    }

    [[gnu::always_inline]] static U256 sub(const U256& a, const U256& b, const Limbs& m) noexcept {
        Limb t0 = a.w[0], t1 = a.w[1], t2 = a.w[2], t3 = a.w[3];
        const Mask negative = sub4(t0, t1, t2, t3, b.w);
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
        const Limb odd = 0 - (t0 & 1);
        __asm__(
            "add %[m0], %[t0]\n\t"
            "adc %[m1], %[t1]\n\t"
            "adc %[m2], %[t2]\n\t"
            "adc %[m3], %[t3]\n\t"
            "rcr $1, %[t3]\n\t"
            "rcr $1, %[t2]\n\t"
            "rcr $1, %[t1]\n\t"
            "rcr $1, %[t0]"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3)
            : [m0] "r"(m[0] & odd), [m1] "r"(m[1] & odd), [m2] "r"(m[2] & odd), [m3] "r"(m[3] & odd)
            : "cc");
        return {{t0, t1, t2, t3}};
    }

private:
    /// Adds m to t3..t0 modulo 2^256 if the mask is set.
    [[gnu::always_inline]] static void add_masked(Limb& t0, Limb& t1, Limb& t2, Limb& t3, Limb mask,
                                                  const Limbs& m) noexcept {
        add_registers(t0, t1, t2, t3, m[0] & mask, m[1] & mask, m[2] & mask, m[3] & mask);
    }
};

}  // namespace ulmaro::u256
