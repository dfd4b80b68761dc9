// Products of four limbs by four: the portable form. The architectures' own forms have row, product and square too.
#pragma once

#include "u256/limbs.hpp"

namespace ulmaro::u256 {

/// A number below 2^512. Members rather than an array, to keep them in registers.
struct Product {
    std::uint64_t t0, t1, t2, t3, t4, t5, t6, t7;
};

struct PortableProduct {
    using Limb = std::uint64_t;

    static Limb low(Wide x) noexcept { return static_cast<Limb>(x); }
    static Limb high(Wide x) noexcept { return static_cast<Limb>(x >> 64); }

    /// t4..t0 = t3..t0 + a b. The low halves of the products are one carry chain, the high halves another.
    static void row(Limb& t0, Limb& t1, Limb& t2, Limb& t3, Limb& t4, const Limbs& a, Limb b) noexcept {
        const Wide p0 = static_cast<Wide>(a[0]) * b;
        const Wide p1 = static_cast<Wide>(a[1]) * b;
        const Wide p2 = static_cast<Wide>(a[2]) * b;
        const Wide p3 = static_cast<Wide>(a[3]) * b;
        Carry carry = 0;
        t0 = add_with_carry(t0, low(p0), carry);
        t1 = add_with_carry(t1, low(p1), carry);
        t2 = add_with_carry(t2, low(p2), carry);
        t3 = add_with_carry(t3, low(p3), carry);
        t4 = carry;
        carry = 0;
        t1 = add_with_carry(t1, high(p0), carry);
        t2 = add_with_carry(t2, high(p1), carry);
        t3 = add_with_carry(t3, high(p2), carry);
        t4 = add_with_carry(t4, high(p3), carry);
    }

    static Product product(const Limbs& a, const Limbs& b) noexcept {
        Limb t0 = 0, t1 = 0, t2 = 0, t3 = 0, t4, t5, t6, t7;
        row(t0, t1, t2, t3, t4, a, b[0]);
        row(t1, t2, t3, t4, t5, a, b[1]);
        row(t2, t3, t4, t5, t6, a, b[2]);
        row(t3, t4, t5, t6, t7, a, b[3]);
        return {t0, t1, t2, t3, t4, t5, t6, t7};
    }

    static Product square(const Limbs& a) noexcept { return product(a, a); }
};

}  // namespace ulmaro::u256
