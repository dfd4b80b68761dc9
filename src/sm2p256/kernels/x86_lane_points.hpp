// Sums of points in lanes: the loops of a multiplication keep them there from beginning to end. The processor has:
// AVX-512 with IFMA.
#pragma once

#include <immintrin.h>

#include "sm2p256/point.hpp"

namespace ulmaro::sm2p256 {

/// Four elements of the field side by side: vector i holds limb i of each, 52 bits. A lane stands for a residue modulo
/// p times 2^260, and may hold any number that is congruent to it.
struct Lanes {
    __m256i l[5];
};

/// A point in Jacobian coordinates, with U = 2Y, W = -3 Z^4 and A = 3 X^2 + W: then a doubling needs three products one
/// after the other.
struct JacobianLanes {
    Lanes uwau;  // U W A U
    Lanes xz;    // . . X Z
};

/// X Y ZZ ZZZ
struct ExtendedLanes {
    Lanes l;
};

void enter(JacobianLanes& r, const Jacobian& p) noexcept;
void enter(ExtendedLanes& r, const Extended& p) noexcept;

void leave(Jacobian& r, const JacobianLanes& p) noexcept;
void leave(Extended& r, const ExtendedLanes& p) noexcept;

/// p = 2^n p, for n >= 1 and every p.
void double_times(JacobianLanes& p, int n) noexcept;

/// p = p + q, as for the same coordinates in point.hpp.
void add(JacobianLanes& p, const Affine& q) noexcept;
void add(ExtendedLanes& p, const Affine& q) noexcept;

}  // namespace ulmaro::sm2p256
