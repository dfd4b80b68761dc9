// Products of four limbs by four on x86-64 with BMI2 and ADX, in assembly because compilers turn the carry chains into
// two to four times as many instructions.
#pragma once

#include "u256/product.hpp"

namespace ulmaro::u256 {

struct X86Product {
    using Limb = std::uint64_t;

    /// t4..t0 = a times b, the first row of a product.
    [[gnu::always_inline]] static void first_row(Limb& t0, Limb& t1, Limb& t2, Limb& t3, Limb& t4, const Limbs& a,
                                                 Limb b) noexcept {
        Limb x;
        __asm__(
            "mulx %[a0], %[t0], %[t1]\n\t"
            "mulx %[a1], %[x], %[t2]\n\t"
            "add %[x], %[t1]\n\t"
            "mulx %[a2], %[x], %[t3]\n\t"
            "adc %[x], %[t2]\n\t"
            "mulx %[a3], %[x], %[t4]\n\t"
            "adc %[x], %[t3]\n\t"
            "adc $0, %[t4]"
            : [t0] "=&r"(t0), [t1] "=&r"(t1), [t2] "=&r"(t2), [t3] "=&r"(t3), [t4] "=&r"(t4), [x] "=&r"(x)
            : "d"(b), [a0] "m"(a[0]), [a1] "m"(a[1]), [a2] "m"(a[2]), [a3] "m"(a[3])
            : "cc");
    }

    /// t4..t0 = t3..t0 + a times b, another row.
    [[gnu::always_inline]] static void row(Limb& t0, Limb& t1, Limb& t2, Limb& t3, Limb& t4, const Limbs& a,
                                           Limb b) noexcept {
        Limb x, y;
        __asm__(
            "xor %k[x], %k[x]\n\t"
            "mulx %[a0], %[x], %[y]\n\t"
            "adcx %[x], %[t0]\n\t"
            "adox %[y], %[t1]\n\t"
            "mulx %[a1], %[x], %[y]\n\t"
            "adcx %[x], %[t1]\n\t"
            "adox %[y], %[t2]\n\t"
            "mulx %[a2], %[x], %[y]\n\t"
            "adcx %[x], %[t2]\n\t"
            "adox %[y], %[t3]\n\t"
            "mulx %[a3], %[x], %[t4]\n\t"
            "mov $0, %k[y]\n\t"
            "adcx %[x], %[t3]\n\t"
            "adox %[y], %[t4]\n\t"
            "adcx %[y], %[t4]"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3), [t4] "=&r"(t4), [x] "=&r"(x), [y] "=&r"(y)
            : "d"(b), [a0] "m"(a[0]), [a1] "m"(a[1]), [a2] "m"(a[2]), [a3] "m"(a[3])
            : "cc");
    }

    [[gnu::always_inline]] static Product product(const Limbs& a, const Limbs& b) noexcept {
        Limb t0, t1, t2, t3, t4, t5, t6, t7;
        first_row(t0, t1, t2, t3, t4, a, b[0]);
        row(t1, t2, t3, t4, t5, a, b[1]);
        row(t2, t3, t4, t5, t6, a, b[2]);
        row(t3, t4, t5, t6, t7, a, b[3]);
        return {t0, t1, t2, t3, t4, t5, t6, t7};
    }

    [[gnu::always_inline]] static Product square(const Limbs& a) noexcept {
        Limb t0, t1, t2, t3, t4, t5, t6, t7, x, y;
        __asm__(
            "mov (%[a]), %%rdx\n\t"
            "mulx 8(%[a]), %[t1], %[t2]\n\t"
            "mulx 16(%[a]), %[x], %[t3]\n\t"
            "add %[x], %[t2]\n\t"
            "mulx 24(%[a]), %[x], %[t4]\n\t"
            "adc %[x], %[t3]\n\t"
            "mov 8(%[a]), %%rdx\n\t"
            "mulx 24(%[a]), %[x], %[t5]\n\t"
            "adc %[x], %[t4]\n\t"
            "mov 16(%[a]), %%rdx\n\t"
            "mulx 24(%[a]), %[x], %[t6]\n\t"
            "adc %[x], %[t5]\n\t"
            "adc $0, %[t6]\n\t"
            "mulx 8(%[a]), %[x], %[y]\n\t"
            "add %[x], %[t3]\n\t"
            "adc %[y], %[t4]\n\t"
            "adc $0, %[t5]\n\t"
            "adc $0, %[t6]\n\t"
            // Twice that, plus the squares: two carry chains.
            "xor %k[t7], %k[t7]\n\t"
            "mov (%[a]), %%rdx\n\t"
            "mulx %%rdx, %[t0], %[x]\n\t"
            "adcx %[t1], %[t1]\n\t"
            "adox %[x], %[t1]\n\t"
            "mov 8(%[a]), %%rdx\n\t"
            "mulx %%rdx, %[x], %[y]\n\t"
            "adcx %[t2], %[t2]\n\t"
            "adox %[x], %[t2]\n\t"
            "adcx %[t3], %[t3]\n\t"
            "adox %[y], %[t3]\n\t"
            "mov 16(%[a]), %%rdx\n\t"
            "mulx %%rdx, %[x], %[y]\n\t"
            "adcx %[t4], %[t4]\n\t"
            "adox %[x], %[t4]\n\t"
            "adcx %[t5], %[t5]\n\t"
            "adox %[y], %[t5]\n\t"
            "mov 24(%[a]), %%rdx\n\t"
            "mulx %%rdx, %[x], %[y]\n\t"
            "adcx %[t6], %[t6]\n\t"
            "adox %[x], %[t6]\n\t"
            "adcx %[t7], %[t7]\n\t"
            "adox %[y], %[t7]"
            : [t0] "=&r"(t0), [t1] "=&r"(t1), [t2] "=&r"(t2), [t3] "=&r"(t3), [t4] "=&r"(t4), [t5] "=&r"(t5),
              [t6] "=&r"(t6), [t7] "=&r"(t7), [x] "=&r"(x), [y] "=&r"(y)
            : [a] "r"(a), "m"(a)
            : "rdx", "cc");
        return {t0, t1, t2, t3, t4, t5, t6, t7};
    }

    /// t3..t0 += b; returns the carry.
    [[gnu::always_inline]] static Limb add4(Limb& t0, Limb& t1, Limb& t2, Limb& t3, const Limbs& b) noexcept {
        Limb carry = 0;
        __asm__(
            "add %[b0], %[t0]\n\t"
            "adc %[b1], %[t1]\n\t"
            "adc %[b2], %[t2]\n\t"
            "adc %[b3], %[t3]\n\t"
            "adc $0, %[carry]"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3), [carry] "+&r"(carry)
            : [b0] "rm"(b[0]), [b1] "rm"(b[1]), [b2] "rm"(b[2]), [b3] "rm"(b[3])
            : "cc");
        return carry;
    }

    /// t3..t0 -= b; all ones if that was negative.
    [[gnu::always_inline]] static Mask sub4(Limb& t0, Limb& t1, Limb& t2, Limb& t3, const Limbs& b) noexcept {
        Mask negative;
        __asm__(
            "sub %[b0], %[t0]\n\t"
            "sbb %[b1], %[t1]\n\t"
            "sbb %[b2], %[t2]\n\t"
            "sbb %[b3], %[t3]\n\t"
            "sbb %[negative], %[negative]"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3), [negative] "=&r"(negative)
            : [b0] "rm"(b[0]), [b1] "rm"(b[1]), [b2] "rm"(b[2]), [b3] "rm"(b[3])
            : "cc");
        return negative;
    }

    /// t3..t0 += b3..b0 modulo 2^256.
    [[gnu::always_inline]] static void add_registers(Limb& t0, Limb& t1, Limb& t2, Limb& t3, Limb b0, Limb b1, Limb b2,
                                                     Limb b3) noexcept {
        __asm__(
            "add %[b0], %[t0]\n\t"
            "adc %[b1], %[t1]\n\t"
            "adc %[b2], %[t2]\n\t"
            "adc %[b3], %[t3]"
            : [t0] "+&r"(t0), [t1] "+&r"(t1), [t2] "+&r"(t2), [t3] "+&r"(t3)
            : [b0] "r"(b0), [b1] "r"(b1), [b2] "r"(b2), [b3] "r"(b3)
            : "cc");
    }

    /// a -= b modulo 2^512; all ones if a was smaller.
    [[gnu::always_inline]] static Mask subtract(Product& a, const Product& b) noexcept {
        Mask negative;
        __asm__(
            "sub (%[b]), %[t0]\n\t"
            "sbb 8(%[b]), %[t1]\n\t"
            "sbb 16(%[b]), %[t2]\n\t"
            "sbb 24(%[b]), %[t3]\n\t"
            "sbb 32(%[b]), %[t4]\n\t"
            "sbb 40(%[b]), %[t5]\n\t"
            "sbb 48(%[b]), %[t6]\n\t"
            "sbb 56(%[b]), %[t7]\n\t"
            "sbb %[negative], %[negative]"
            : [t0] "+&r"(a.t0), [t1] "+&r"(a.t1), [t2] "+&r"(a.t2), [t3] "+&r"(a.t3), [t4] "+&r"(a.t4),
              [t5] "+&r"(a.t5), [t6] "+&r"(a.t6), [t7] "+&r"(a.t7), [negative] "=&r"(negative)
            : [b] "r"(&b), "m"(b)
            : "cc");
        return negative;
    }
};

}  // namespace ulmaro::u256
