// Division steps on aarch64: eight and a half instructions each, by conditional selection.
#pragma once

#include <cstdint>

namespace ulmaro::u256 {

/// f, g and delta of division steps. delta is a half-integer, kept as delta - 1/2.
struct DivisionSteps {
    std::uint64_t f, g;
    std::int64_t delta;

    static constexpr std::int64_t one_half = 0;  // as delta is kept

    /// Four steps. The second and fourth take y = 1/2 - delta, which saves an instruction: if f and g swap,
    ///     x = delta - 1/2 gives 1/2 - delta' = x, else -x - 1;
    ///     y gives delta' - 1/2 = y, else 1 - y.
    /// They swap when g is odd and x >= 0, or y <= 0. The next g has its parity in bit 1 before the halving.
    void four() noexcept {
        std::uint64_t t;
        __asm__(
            "tst %[g], #1\n\t"
            ".rept 2\n\t"
            "csel %[t], %[f], xzr, ne\n\t"
            "ccmp %[d], #0, #8, ne\n\t"  // even: less
            "cneg %[t], %[t], ge\n\t"
            "csel %[f], %[g], %[f], ge\n\t"
            "cinv %[d], %[d], lt\n\t"
            "add %[g], %[g], %[t]\n\t"
            "tst %[g], #2\n\t"
            "asr %[g], %[g], #1\n\t"
            "csel %[t], %[f], xzr, ne\n\t"
            "ccmp %[d], #0, #0, ne\n\t"  // even: greater
            "cneg %[t], %[t], le\n\t"
            "csel %[f], %[g], %[f], le\n\t"
            "add %[g], %[g], %[t]\n\t"
            "sub %[t], %[d], #1\n\t"
            "csneg %[d], %[d], %[t], le\n\t"
            "tst %[g], #2\n\t"
            "asr %[g], %[g], #1\n\t"
            ".endr"
            : [f] "+&r"(f), [g] "+&r"(g), [d] "+&r"(delta), [t] "=&r"(t)
            :
            : "cc");
    }
};

}  // namespace ulmaro::u256
