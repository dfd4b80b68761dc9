// The field on x86-64 with BMI2 and ADX: the same functions as PortableField, in assembly because compilers turn the
// carry chains into two to four times as many instructions.
#pragma once

#include "sm2p256/field.hpp"
#include "u256/x86_product.hpp"

namespace ulmaro::sm2p256 {

class X86Field : u256::X86Product {
    using Product = u256::Product;

    // The two limbs of p that are not all ones.
    static constexpr Limb p1 = field_prime.w[1];
    static constexpr Limb p3 = field_prime.w[3];

    /// One step of the reduction explained in field.cpp: (t3..t0 + t0 p) / 2^64, with the result in t0, t3..t1. It is
    /// below 2^192 + p, so that from the second step on the carry into t3 stops there.
    template <bool first>
    [[gnu::always_inline]] static void step(Limb& t0, Limb& t1, Limb& t2, Limb& t3) noexcept {
        Limb low, high;
        __asm__(
            "shlx %[half], %[t0], %[low]\n\t"
            "shrx %[half], %[t0], %[high]"
            : [low] "=&r"(low), [high] "=r"(high)
            : [t0] "r"(t0), [half] "r"(Limb{32}));
        if constexpr (first) {
            __asm__(
                "add %[t0], %[t1]\n\t"
                "adc $0, %[t2]\n\t"
                "adc $0, %[t3]\n\t"
                "adc $0, %[t0]"
                : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3)
                :
                : "cc");
        } else {
            __asm__(
                "add %[t0], %[t1]\n\t"
                "adc $0, %[t2]\n\t"
                "adc $0, %[t3]"
                : [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3)
                : [t0] "r"(t0)
                : "cc");
        }
        __asm__(
            "sub %[low], %[t1]\n\t"
            "sbb %[high], %[t2]\n\t"
            "sbb %[low], %[t3]\n\t"
            "sbb %[high], %[t0]"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3)
            : [low] "r"(low), [high] "r"(high)
            : "cc");
    }

    /// (carry, t3..t0) - p unless that is negative, else t3..t0, for numbers below 2p.
    [[gnu::always_inline]] static Fe reduced(Limb carry, Limb t0, Limb t1, Limb t2, Limb t3) noexcept {
        Limb s0 = t0, s1 = t1, s2 = t2, s3 = t3;
        __asm__(
            "sub $-1, %[s0]\n\t"
            "sbb %[p1], %[s1]\n\t"
            "sbb $-1, %[s2]\n\t"
            "sbb %[p3], %[s3]\n\t"
            "sbb $0, %[carry]\n\t"
            "cmovc %[t0], %[s0]\n\t"
            "cmovc %[t1], %[s1]\n\t"
            "cmovc %[t2], %[s2]\n\t"
            "cmovc %[t3], %[s3]"
            : [s0] "+&r"(s0), [s1] "+&r"(s1), [s2] "+&r"(s2), [s3] "+&r"(s3), [carry] "+&r"(carry)
            : [t0] "r"(t0), [t1] "r"(t1), [t2] "r"(t2), [t3] "r"(t3), [p1] "r"(p1), [p3] "r"(p3)
            : "cc");
        return {{s0, s1, s2, s3}};
    }

    /// t / 2^256 modulo p, for t < 2^256 p.
    [[gnu::always_inline]] static Fe reduce(Product t) noexcept {
        auto [t0, t1, t2, t3, t4, t5, t6, t7] = t;
        step<true>(t0, t1, t2, t3);
        step<false>(t1, t2, t3, t0);
        step<false>(t2, t3, t0, t1);
        step<false>(t3, t0, t1, t2);
        // As add4, but nothing may go through memory: clang would send it there.
        Limb carry = 0;
        __asm__(
            "add %[t0], %[t4]\n\t"
            "adc %[t1], %[t5]\n\t"
            "adc %[t2], %[t6]\n\t"
            "adc %[t3], %[t7]\n\t"
            "adc $0, %[carry]"
            : [t4] "+&r"(t4), [t5] "+&r"(t5), [t6] "+&r"(t6), [t7] "+&r"(t7), [carry] "+&r"(carry)
            : [t0] "r"(t0), [t1] "r"(t1), [t2] "r"(t2), [t3] "r"(t3)
            : "cc");
        return reduced(carry, t4, t5, t6, t7);
    }

    /// a - b modulo p, with b < p^2; adds 2^256 p to a negative difference.
    [[gnu::always_inline]] static Product difference(Product a, const Product& b) noexcept {
        const Mask negative = subtract(a, b);
        add_registers(a.t4, a.t5, a.t6, a.t7, negative, negative << 32, negative, p3 & negative);
        return a;
    }

public:
    using Called = WithCalls<X86Field>;

    [[gnu::always_inline]] static Fe mul(const Fe& a, const Fe& b) noexcept { return reduce(product(a.w, b.w)); }

    [[gnu::always_inline]] static Fe sqr(const Fe& a) noexcept { return reduce(square(a.w)); }

    /// a b - c d, and a b - c^2.
    [[gnu::always_inline]] static Fe mul_sub(const Fe& a, const Fe& b, const Fe& c, const Fe& d) noexcept {
        const Product cd = product(c.w, d.w);
        return reduce(difference(product(a.w, b.w), cd));
    }

    [[gnu::always_inline]] static Fe mul_sub_sqr(const Fe& a, const Fe& b, const Fe& c) noexcept {
        const Product cc = square(c.w);
        return reduce(difference(product(a.w, b.w), cc));
    }

    [[gnu::always_inline]] static Fe add(const Fe& a, const Fe& b) noexcept {
        Limb t0 = a.w[0], t1 = a.w[1], t2 = a.w[2], t3 = a.w[3];
        const Limb carry = add4(t0, t1, t2, t3, b.w);
        return reduced(carry, t0, t1, t2, t3);
    }

    [[gnu::always_inline]] static Fe sub(const Fe& a, const Fe& b) noexcept {
        Limb t0 = a.w[0], t1 = a.w[1], t2 = a.w[2], t3 = a.w[3];
        const Mask negative = sub4(t0, t1, t2, t3, b.w);
        add_registers(t0, t1, t2, t3, negative, negative << 32, negative, p3 & negative);
        return {{t0, t1, t2, t3}};
    }

    /// -a if the mask is set, else a; a is not 0.
    [[gnu::always_inline]] static Fe negated_if(Mask mask, const Fe& a) noexcept {
        Limb t0 = field_prime.w[0], t1 = p1, t2 = field_prime.w[2], t3 = p3;
        __asm__(
            "sub %[a0], %[t0]\n\t"
            "sbb %[a1], %[t1]\n\t"
            "sbb %[a2], %[t2]\n\t"
            "sbb %[a3], %[t3]\n\t"
            "test %[mask], %[mask]\n\t"
            "cmovz %[a0], %[t0]\n\t"
            "cmovz %[a1], %[t1]\n\t"
            "cmovz %[a2], %[t2]\n\t"
            "cmovz %[a3], %[t3]"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3)
            : [a0] "rm"(a.w[0]), [a1] "rm"(a.w[1]), [a2] "rm"(a.w[2]), [a3] "rm"(a.w[3]), [mask] "r"(mask)
            : "cc");
        return {{t0, t1, t2, t3}};
    }

    /// a / 2; adds p to an odd number first.
    [[gnu::always_inline]] static Fe half(const Fe& a) noexcept {
        Limb t0 = a.w[0], t1 = a.w[1], t2 = a.w[2], t3 = a.w[3];
        const Limb odd = 0 - (t0 & 1);
        __asm__(
            "add %[odd], %[t0]\n\t"
            "adc %[second], %[t1]\n\t"
            "adc %[odd], %[t2]\n\t"
            "adc %[top], %[t3]\n\t"
            "rcr $1, %[t3]\n\t"
            "rcr $1, %[t2]\n\t"
            "rcr $1, %[t1]\n\t"
            "rcr $1, %[t0]"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3)
            : [odd] "r"(odd), [second] "r"(odd << 32), [top] "r"(odd & p3)
            : "cc");
        return {{t0, t1, t2, t3}};
    }
};

}  // namespace ulmaro::sm2p256
