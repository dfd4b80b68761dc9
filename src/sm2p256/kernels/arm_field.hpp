// The field on aarch64: the same functions as PortableField, with the carry chains in assembly because compilers keep
// carries in registers instead of the flag. Products and shifts are left to the compiler.
#pragma once

#include "sm2p256/field.hpp"
#include "u256/arm_product.hpp"

namespace ulmaro::sm2p256 {

class ArmField : u256::ArmProduct {
    using Product = u256::Product;

    /// Adds p to t3..t0 modulo 2^256 if the mask is set; returns the carry.
    [[gnu::always_inline]] static Limb add_prime(Mask mask, Limb& t0, Limb& t1, Limb& t2, Limb& t3) noexcept {
        Limb carry;
        __asm__(
            "adds %[t0], %[t0], %[mask]\n\t"
            "adcs %[t1], %[t1], %[p1]\n\t"
            "adcs %[t2], %[t2], %[mask]\n\t"
            "adcs %[t3], %[t3], %[p3]\n\t"
            "adc %[carry], xzr, xzr"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3), [carry] "=r"(carry)
            : [mask] "r"(mask), [p1] "r"(mask << 32), [p3] "r"(mask & field_prime.w[3])
            : "cc");
        return carry;
    }

    /// a - b modulo p, with b < p^2; adds 2^256 p to a negative difference.
    [[gnu::always_inline]] static Product difference(Product a, const Product& b) noexcept {
        const Mask negative = subtract(a, b);
        add_prime(negative, a.t4, a.t5, a.t6, a.t7);
        return a;
    }

    /// One step of the reduction explained in field.cpp: (t3..t0 + t0 p) / 2^64, with the result in t0, t3..t1.
    [[gnu::always_inline]] static void step(Limb& t0, Limb& t1, Limb& t2, Limb& t3) noexcept {
        const Limb low_half = t0 << 32, high_half = t0 >> 32;
        __asm__(
            "adds %[t1], %[t1], %[t0]\n\t"
            "adcs %[t2], %[t2], xzr\n\t"
            "adcs %[t3], %[t3], xzr\n\t"
            "adc %[t0], %[t0], xzr\n\t"
            "subs %[t1], %[t1], %[low]\n\t"
            "sbcs %[t2], %[t2], %[high]\n\t"
            "sbcs %[t3], %[t3], %[low]\n\t"
            "sbc %[t0], %[t0], %[high]"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3)
            : [low] "r"(low_half), [high] "r"(high_half)
            : "cc");
    }

    /// a + b - p unless that is negative, else a + b, for a sum below 2p.
    [[gnu::always_inline]] static Fe sum(Limb a0, Limb a1, Limb a2, Limb a3, Limb b0, Limb b1, Limb b2,
                                         Limb b3) noexcept {
        Limb s0, s1, s2, s3, carry;
        __asm__(
            "adds %[a0], %[a0], %[b0]\n\t"
            "adcs %[a1], %[a1], %[b1]\n\t"
            "adcs %[a2], %[a2], %[b2]\n\t"
            "adcs %[a3], %[a3], %[b3]\n\t"
            "adc %[carry], xzr, xzr\n\t"
            "subs %[s0], %[a0], %[p0]\n\t"
            "sbcs %[s1], %[a1], %[p1]\n\t"
            "sbcs %[s2], %[a2], %[p0]\n\t"
            "sbcs %[s3], %[a3], %[p3]\n\t"
            "sbcs xzr, %[carry], xzr\n\t"
            "csel %[s0], %[s0], %[a0], cs\n\t"
            "csel %[s1], %[s1], %[a1], cs\n\t"
            "csel %[s2], %[s2], %[a2], cs\n\t"
            "csel %[s3], %[s3], %[a3], cs"
            : [a0] "+&r"(a0), [a1] "+&r"(a1), [a2] "+&r"(a2), [a3] "+&r"(a3), [s0] "=&r"(s0), [s1] "=&r"(s1),
              [s2] "=&r"(s2), [s3] "=&r"(s3), [carry] "=&r"(carry)
            : [b0] "r"(b0), [b1] "r"(b1), [b2] "r"(b2), [b3] "r"(b3), [p0] "r"(field_prime.w[0]),
              [p1] "r"(field_prime.w[1]), [p3] "r"(field_prime.w[3])
            : "cc");
        return {{s0, s1, s2, s3}};
    }

    /// t / 2^256 modulo p, for t < 2^256 p.
    [[gnu::always_inline]] static Fe reduce(Product t) noexcept {
        step(t.t0, t.t1, t.t2, t.t3);
        step(t.t1, t.t2, t.t3, t.t0);
        step(t.t2, t.t3, t.t0, t.t1);
        step(t.t3, t.t0, t.t1, t.t2);
        return sum(t.t4, t.t5, t.t6, t.t7, t.t0, t.t1, t.t2, t.t3);
    }

public:
    using Called = WithCalls<ArmField>;

    [[gnu::always_inline]] static Fe mul(const Fe& a, const Fe& b) noexcept { return reduce(product(a.w, b.w)); }

    [[gnu::always_inline]] static Fe sqr(const Fe& a) noexcept { return reduce(square(a.w)); }

    [[gnu::always_inline]] static Fe mul_sub(const Fe& a, const Fe& b, const Fe& c, const Fe& d) noexcept {
        return reduce(difference(product(a.w, b.w), product(c.w, d.w)));
    }

    [[gnu::always_inline]] static Fe mul_sub_sqr(const Fe& a, const Fe& b, const Fe& c) noexcept {
        return reduce(difference(product(a.w, b.w), square(c.w)));
    }

    [[gnu::always_inline]] static Fe add(const Fe& a, const Fe& b) noexcept {
        return sum(a.w[0], a.w[1], a.w[2], a.w[3], b.w[0], b.w[1], b.w[2], b.w[3]);
    }

    [[gnu::always_inline]] static Fe sub(const Fe& a, const Fe& b) noexcept {
        Limb t0, t1, t2, t3, negative;
        __asm__(
            "subs %[t0], %[a0], %[b0]\n\t"
            "sbcs %[t1], %[a1], %[b1]\n\t"
            "sbcs %[t2], %[a2], %[b2]\n\t"
            "sbcs %[t3], %[a3], %[b3]\n\t"
            "csetm %[negative], cc"
            : [t0] "=&r"(t0), [t1] "=&r"(t1), [t2] "=&r"(t2), [t3] "=&r"(t3), [negative] "=r"(negative)
            : [a0] "r"(a.w[0]), [a1] "r"(a.w[1]), [a2] "r"(a.w[2]), [a3] "r"(a.w[3]), [b0] "r"(b.w[0]),
              [b1] "r"(b.w[1]), [b2] "r"(b.w[2]), [b3] "r"(b.w[3])
            : "cc");
        add_prime(negative, t0, t1, t2, t3);
        return {{t0, t1, t2, t3}};
    }

    [[gnu::always_inline]] static Fe negated_if(Mask mask, const Fe& a) noexcept {
        Limb t0, t1, t2, t3;
        __asm__(
            "subs %[t0], %[p0], %[a0]\n\t"
            "sbcs %[t1], %[p1], %[a1]\n\t"
            "sbcs %[t2], %[p0], %[a2]\n\t"
            "sbcs %[t3], %[p3], %[a3]\n\t"
            "cmp %[mask], #0\n\t"
            "csel %[t0], %[a0], %[t0], eq\n\t"
            "csel %[t1], %[a1], %[t1], eq\n\t"
            "csel %[t2], %[a2], %[t2], eq\n\t"
            "csel %[t3], %[a3], %[t3], eq"
            : [t0] "=&r"(t0), [t1] "=&r"(t1), [t2] "=&r"(t2), [t3] "=&r"(t3)
            : [a0] "r"(a.w[0]), [a1] "r"(a.w[1]), [a2] "r"(a.w[2]), [a3] "r"(a.w[3]), [mask] "r"(mask),
              [p0] "r"(field_prime.w[0]), [p1] "r"(field_prime.w[1]), [p3] "r"(field_prime.w[3])
            : "cc");
        return {{t0, t1, t2, t3}};
    }

    [[gnu::always_inline]] static Fe half(const Fe& a) noexcept {
        Limb t0 = a.w[0], t1 = a.w[1], t2 = a.w[2], t3 = a.w[3];
        const Limb carry = add_prime(value_barrier(0 - (t0 & 1)), t0, t1, t2, t3);
        return {{t0 >> 1 | t1 << 63, t1 >> 1 | t2 << 63, t2 >> 1 | t3 << 63, t3 >> 1 | carry << 63}};
    }
};

}  // namespace ulmaro::sm2p256
