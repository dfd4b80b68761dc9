// Products of four limbs by four on aarch64, with the carry chains in assembly because compilers keep carries
// in registers instead of the flag. Single-limb products are left to the compiler.
#pragma once

#include "u256/product.hpp"

namespace ulmaro::u256 {

struct ArmProduct {
    using Limb = std::uint64_t;

    static Limb low(Limb a, Limb b) noexcept { return a * b; }
    static Limb high(Limb a, Limb b) noexcept { return static_cast<Limb>((static_cast<Wide>(a) * b) >> 64); }

    /// t4..t0 = t3..t0 + a b.
    [[gnu::always_inline]] static void row(Limb& t0, Limb& t1, Limb& t2, Limb& t3, Limb& t4, const Limbs& a,
                                           Limb b) noexcept {
        __asm__(
            "adds %[t0], %[t0], %[l0]\n\t"
            "adcs %[t1], %[t1], %[l1]\n\t"
            "adcs %[t2], %[t2], %[l2]\n\t"
            "adcs %[t3], %[t3], %[l3]\n\t"
            "adc %[t4], xzr, xzr\n\t"
            "adds %[t1], %[t1], %[h0]\n\t"
            "adcs %[t2], %[t2], %[h1]\n\t"
            "adcs %[t3], %[t3], %[h2]\n\t"
            "adc %[t4], %[t4], %[h3]"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3), [t4] "=&r"(t4)
            : [l0] "r"(low(a[0], b)), [l1] "r"(low(a[1], b)), [l2] "r"(low(a[2], b)), [l3] "r"(low(a[3], b)),
              [h0] "r"(high(a[0], b)), [h1] "r"(high(a[1], b)), [h2] "r"(high(a[2], b)), [h3] "r"(high(a[3], b))
            : "cc");
    }

    [[gnu::always_inline]] static Product product(const Limbs& a, const Limbs& b) noexcept {
        Limb t0 = low(a[0], b[0]), t1 = low(a[1], b[0]), t2 = low(a[2], b[0]), t3 = low(a[3], b[0]);
        Limb t4, t5, t6, t7;
        __asm__(
            "adds %[t1], %[t1], %[h0]\n\t"
            "adcs %[t2], %[t2], %[h1]\n\t"
            "adcs %[t3], %[t3], %[h2]\n\t"
            "adc %[t4], %[h3], xzr"
            : [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3), [t4] "=&r"(t4)
            : [h0] "r"(high(a[0], b[0])), [h1] "r"(high(a[1], b[0])), [h2] "r"(high(a[2], b[0])),
              [h3] "r"(high(a[3], b[0]))
            : "cc");
        row(t1, t2, t3, t4, t5, a, b[1]);
        row(t2, t3, t4, t5, t6, a, b[2]);
        row(t3, t4, t5, t6, t7, a, b[3]);
        return {t0, t1, t2, t3, t4, t5, t6, t7};
    }

    /// Twice the products of distinct limbs, plus the squares.
    [[gnu::always_inline]] static Product square(const Limbs& a) noexcept {
        Limb t1 = low(a[0], a[1]), t2 = high(a[0], a[1]), t3 = high(a[0], a[2]);
        Limb t4 = high(a[0], a[3]), t5 = high(a[1], a[3]), t6 = high(a[2], a[3]), t7;
        __asm__(
            "adds %[t2], %[t2], %[l02]\n\t"
            "adcs %[t3], %[t3], %[l03]\n\t"
            "adcs %[t4], %[t4], %[l13]\n\t"
            "adcs %[t5], %[t5], %[l23]\n\t"
            "adc %[t6], %[t6], xzr\n\t"
            "adds %[t3], %[t3], %[l12]\n\t"
            "adcs %[t4], %[t4], %[h12]\n\t"
            "adcs %[t5], %[t5], xzr\n\t"
            "adc %[t6], %[t6], xzr\n\t"
            "adds %[t1], %[t1], %[t1]\n\t"
            "adcs %[t2], %[t2], %[t2]\n\t"
            "adcs %[t3], %[t3], %[t3]\n\t"
            "adcs %[t4], %[t4], %[t4]\n\t"
            "adcs %[t5], %[t5], %[t5]\n\t"
            "adcs %[t6], %[t6], %[t6]\n\t"
            "adc %[t7], xzr, xzr"
            : [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3), [t4] "+&r"(t4), [t5] "+&r"(t5), [t6] "+&r"(t6),
              [t7] "=&r"(t7)
            : [l02] "r"(low(a[0], a[2])), [l03] "r"(low(a[0], a[3])), [l13] "r"(low(a[1], a[3])),
              [l23] "r"(low(a[2], a[3])), [l12] "r"(low(a[1], a[2])), [h12] "r"(high(a[1], a[2]))
            : "cc");
        __asm__(
            "adds %[t1], %[t1], %[h0]\n\t"
            "adcs %[t2], %[t2], %[l1]\n\t"
            "adcs %[t3], %[t3], %[h1]\n\t"
            "adcs %[t4], %[t4], %[l2]\n\t"
            "adcs %[t5], %[t5], %[h2]\n\t"
            "adcs %[t6], %[t6], %[l3]\n\t"
            "adc %[t7], %[t7], %[h3]"
            : [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3), [t4] "+&r"(t4), [t5] "+&r"(t5), [t6] "+&r"(t6),
              [t7] "+&r"(t7)
            : [h0] "r"(high(a[0], a[0])), [l1] "r"(low(a[1], a[1])), [h1] "r"(high(a[1], a[1])),
              [l2] "r"(low(a[2], a[2])), [h2] "r"(high(a[2], a[2])), [l3] "r"(low(a[3], a[3])),
              [h3] "r"(high(a[3], a[3]))
            : "cc");
        return {low(a[0], a[0]), t1, t2, t3, t4, t5, t6, t7};
    }

    /// a -= b modulo 2^512; all ones if a was smaller.
    [[gnu::always_inline]] static Mask subtract(Product& a, const Product& b) noexcept {
        Mask negative;
        __asm__(
            "subs %[t0], %[t0], %[b0]\n\t"
            "sbcs %[t1], %[t1], %[b1]\n\t"
            "sbcs %[t2], %[t2], %[b2]\n\t"
            "sbcs %[t3], %[t3], %[b3]\n\t"
            "sbcs %[t4], %[t4], %[b4]\n\t"
            "sbcs %[t5], %[t5], %[b5]\n\t"
            "sbcs %[t6], %[t6], %[b6]\n\t"
            "sbcs %[t7], %[t7], %[b7]\n\t"
            "csetm %[negative], cc"
            : [t0] "+&r"(a.t0), [t1] "+&r"(a.t1), [t2] "+&r"(a.t2), [t3] "+&r"(a.t3), [t4] "+&r"(a.t4),
              [t5] "+&r"(a.t5), [t6] "+&r"(a.t6), [t7] "+&r"(a.t7), [negative] "=r"(negative)
            : [b0] "r"(b.t0), [b1] "r"(b.t1), [b2] "r"(b.t2), [b3] "r"(b.t3), [b4] "r"(b.t4), [b5] "r"(b.t5),
              [b6] "r"(b.t6), [b7] "r"(b.t7)
            : "cc");
        return negative;
    }
};

}  // namespace ulmaro::u256
