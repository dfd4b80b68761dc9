// The field on aarch64: the same functions as PortableField, with the carry chains in assembly because compilers keep
// carries in registers instead of the flag. Products and shifts are left to the compiler.
#pragma once

#include "sm2p256/field.hpp"
#include "u256/arm_product.hpp"

namespace ulmaro::sm2p256 {

class ArmField : u256::ArmProduct {
    using Product = u256::Product;

    /// Adds p to t3..t0 modulo 2^256 if the mask is set.
    [[gnu::always_inline]] static void add_prime(Mask mask, Limb& t0, Limb& t1, Limb& t2, Limb& t3) noexcept {
        __asm__(
            "adds %[t0], %[t0], %[mask]\n\t"
            "adcs %[t1], %[t1], %[p1]\n\t"
            "adcs %[t2], %[t2], %[mask]\n\t"
            "adc %[t3], %[t3], %[p3]"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3)
            : [mask] "r"(mask), [p1] "r"(mask << 32), [p3] "r"(mask & field_prime.w[3])
            : "cc");
    }

    /// a - b modulo p, with b < p^2; adds 2^256 p to a negative difference.
    [[gnu::always_inline]] static Product difference(Product a, const Product& b) noexcept {
        const Mask negative = subtract(a, b);
        add_prime(negative, a.t4, a.t5, a.t6, a.t7);
        return a;
    }

    /// Two steps of the reduction explained in field.cpp at once: (t3..t0 + M p) / 2^128, with the result in t1, t0,
    /// t3, t2. M has the limbs m0 = t0 and m1, with which the two lowest limbs become 0. Let s2..s0 be 2^32 M, and
    /// a2..a0 that less M. The result is
    ///     t2 + 2^64 t3 + 2^128 m0 + 2^192 m1 - (a1 + 2^64 a2) - (2^64 s0 + 2^128 s1 + 2^192 s2),
    /// less 1 if t1 < a0. It is below 2^128 + p, so nothing leaves the top limb, and s0 + s2 is a limb, because the
    /// lower half of s0 is 0 and s2 < 2^32.
    [[gnu::always_inline]] static void two_steps(Limb& t0, Limb& t1, Limb& t2, Limb& t3) noexcept {
        Limb s0, s1, s2, a0, a, m1;
        __asm__(
            "lsl %[s0], %[t0], #32\n\t"
            "subs %[a0], %[s0], %[t0]\n\t"
            "sub %[m1], %[t1], %[a0]\n\t"
            "lsr %[s1], %[t0], #32\n\t"
            "orr %[s1], %[s1], %[m1], lsl #32\n\t"
            "lsr %[s2], %[m1], #32\n\t"
            "add %[s0], %[s0], %[s2]\n\t"
            "sbcs %[a], %[s1], %[m1]\n\t"
            "sbc %[s0], %[s0], xzr\n\t"
            "cmp %[t1], %[a0]\n\t"
            "sbcs %[t2], %[t2], %[a]\n\t"
            "sbcs %[t3], %[t3], %[s0]\n\t"
            "sbcs %[t0], %[t0], %[s1]\n\t"
            "sbc %[t1], %[m1], %[s2]"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3), [s0] "=&r"(s0), [s1] "=&r"(s1),
              [s2] "=&r"(s2), [a0] "=&r"(a0), [a] "=&r"(a), [m1] "=&r"(m1)
            :
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
            // To subtract a limb of ones and the borrow is to add the carry.
            "adds %[s0], %[a0], #1\n\t"
            "sbcs %[s1], %[a1], %[p1]\n\t"
            "adcs %[s2], %[a2], xzr\n\t"
            "sbcs %[s3], %[a3], %[p3]\n\t"
            "sbcs xzr, %[carry], xzr\n\t"
            "csel %[s0], %[s0], %[a0], cs\n\t"
            "csel %[s1], %[s1], %[a1], cs\n\t"
            "csel %[s2], %[s2], %[a2], cs\n\t"
            "csel %[s3], %[s3], %[a3], cs"
            : [a0] "+&r"(a0), [a1] "+&r"(a1), [a2] "+&r"(a2), [a3] "+&r"(a3), [s0] "=&r"(s0), [s1] "=&r"(s1),
              [s2] "=&r"(s2), [s3] "=&r"(s3), [carry] "=&r"(carry)
            : [b0] "r"(b0), [b1] "r"(b1), [b2] "r"(b2), [b3] "r"(b3), [p1] "r"(field_prime.w[1]),
              [p3] "r"(field_prime.w[3])
            : "cc");
        return {{s0, s1, s2, s3}};
    }

    /// t / 2^256 modulo p, for t < 2^256 p.
    [[gnu::always_inline]] static Fe reduce(Product t) noexcept {
        two_steps(t.t0, t.t1, t.t2, t.t3);
        two_steps(t.t2, t.t3, t.t0, t.t1);
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
        Limb t0 = a.w[0], t1 = a.w[1], t2 = a.w[2], t3 = a.w[3], carry;
        const Mask odd = value_barrier(0 - (t0 & 1));
        __asm__(
            "adds %[t0], %[t0], %[odd]\n\t"
            "adcs %[t1], %[t1], %[p1]\n\t"
            "adcs %[t2], %[t2], %[odd]\n\t"
            "adcs %[t3], %[t3], %[p3]\n\t"
            "adc %[carry], xzr, xzr"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3), [carry] "=r"(carry)
            : [odd] "r"(odd), [p1] "r"(odd << 32), [p3] "r"(odd & field_prime.w[3])
            : "cc");
        return {{t0 >> 1 | t1 << 63, t1 >> 1 | t2 << 63, t2 >> 1 | t3 << 63, t3 >> 1 | carry << 63}};
    }
};

}  // namespace ulmaro::sm2p256
