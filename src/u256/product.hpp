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

    /// t4..t0 = t3..t0 + a b.
    static void row(Limb& t0, Limb& t1, Limb& t2, Limb& t3, Limb& t4, const Limbs& a, Limb b) noexcept {
        Limb* const t[] = {&t0, &t1, &t2, &t3};
        t4 = 0;
        for (int i = 0; i < 4; ++i) {
            const Wide s = static_cast<Wide>(a[i]) * b + *t[i] + t4;
            *t[i] = static_cast<Limb>(s);
            t4 = static_cast<Limb>(s >> 64);
        }
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
