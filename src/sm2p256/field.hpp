// The field modulo p = 2^256 - 2^224 - 2^96 + 2^64 - 1.
//
// An element a is kept as a * 2^256 mod p (Montgomery form), always fully reduced: every function takes and returns
// limbs below p, so zero and equality are plain comparisons. Everything is constant-time.
//
// The hot functions exist once per kernel, as static members of a class that the point code takes as a template
// argument: PortableField here, others in kernels/. Its member type Called is the same class with an out-of-line
// product and square, for formulas that run too rarely to be worth inlining. The rest is common.
#pragma once

#include "sm2p256/u256.hpp"

namespace ulmaro::sm2p256 {

struct Fe {
    Limbs w;
};

inline constexpr U256 field_prime = {{0xffffffffffffffff, 0xffffffff00000000, 0xffffffffffffffff, 0xfffffffeffffffff}};

inline constexpr Fe fe_zero = {{0, 0, 0, 0}};
inline constexpr Fe fe_one = {{0x0000000000000001, 0x00000000ffffffff, 0x0000000000000000, 0x0000000100000000}};

/// The element a mod p, for any 256-bit a.
Fe fe_from(const U256& a) noexcept;

/// The residue in [0, p).
U256 fe_residue(const Fe& a) noexcept;

/// For invert and invert_two on limbs.
extern const InversionModulus field_inversion;

/// a^-1; 0 for 0.
Fe fe_invert(const Fe& a) noexcept;

/// r = a if the mask is set, else unchanged.
inline void assign_if(Mask mask, Fe& r, const Fe& a) noexcept { assign_if(mask, r.w, a.w); }

/// F with an out-of-line product and square. The linker merges a template's functions, so F must not be compiled for
/// different instruction sets in two files.
template <typename F>
struct WithCalls : F {
    [[gnu::noinline]] static Fe mul(const Fe& a, const Fe& b) noexcept { return F::mul(a, b); }
    [[gnu::noinline]] static Fe sqr(const Fe& a) noexcept { return F::sqr(a); }
};

/// The field for any processor. Its functions stay out of line: inlined into the point formulas they made ten times the
/// code, with frames of kilobytes.
struct PortableField {
    using Called = PortableField;

    static Fe mul(const Fe& a, const Fe& b) noexcept;
    static Fe sqr(const Fe& a) noexcept { return mul(a, a); }

    /// a b - c d, and a b - c^2.
    static Fe mul_sub(const Fe& a, const Fe& b, const Fe& c, const Fe& d) noexcept { return sub(mul(a, b), mul(c, d)); }
    static Fe mul_sub_sqr(const Fe& a, const Fe& b, const Fe& c) noexcept { return sub(mul(a, b), sqr(c)); }

    static Fe add(const Fe& a, const Fe& b) noexcept;
    static Fe sub(const Fe& a, const Fe& b) noexcept;

    /// -a if the mask is set, else a; a is not 0.
    static Fe negated_if(Mask mask, const Fe& a) noexcept;

    /// a / 2.
    static Fe half(const Fe& a) noexcept;
};

}  // namespace ulmaro::sm2p256
