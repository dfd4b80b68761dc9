// What the schemes need of a curve: multiples of points, in affine form. Nothing else knows which code computes them.
#pragma once

#include "UlmaroAlgrithmInternals.hpp"

namespace ulmaro::ec {

/// Plain (not Montgomery) coordinates, words 8 and 9 zero. (0, 0) stands for infinity in results.
struct AffinePoint {
    bignum_st x;
    bignum_st y;
};

/// The point of a 64-byte x || y.
AffinePoint load_point(const unsigned char* xy) noexcept;
void store_point(unsigned char* xy, const AffinePoint& point) noexcept;

/// Whether the coordinates, cut to the words of p and reduced, satisfy the curve equation. The group must be usable.
bool is_on_curve(ec_group_st& grp, AffinePoint& point) noexcept;

/// out = [k]G; false for infinity. k is secret.
bool multiply_base(ec_group_st& grp, bignum_st& k, AffinePoint& out) noexcept;

/// out = [k]point; false for infinity. k is secret. The point need not lie on the curve: the result is then a multiple
/// on the curve with the same a that it does lie on.
bool multiply_point(ec_group_st& grp, AffinePoint& point, bignum_st& k, AffinePoint& out) noexcept;

/// base = [k]G and out = [k]point, as above; false if out is infinity.
bool multiply_base_and_point(ec_group_st& grp, AffinePoint& point, bignum_st& k, AffinePoint& base,
                             AffinePoint& out) noexcept;

/// out = [s]G + [t]point by the general engine; false for infinity. Nothing is secret. on_curve says whether the point
/// is on the curve: off it the result has no meaning, but still a fixed value, that of EC_POINTs_mul.
bool multiply_both_vartime(ec_group_st& grp, bignum_st& s, AffinePoint& point, bool on_curve, bignum_st& t,
                           AffinePoint& out) noexcept;

}  // namespace ulmaro::ec
