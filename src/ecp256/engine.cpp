#include "ecp256/engine.hpp"

#include "base/wipe.hpp"
#include "ecp256/kernels.hpp"

namespace ulmaro::ecp256 {
namespace {

// The plain coordinates of the sum; zeros for infinity, as the inverse of 0 is 0. Modulo a prime, every other z has an
// inverse; one without is an exception. Constant time.
Outcome to_affine(const Curve& curve, const Jacobian& sum, Mask exception, Affine& out) noexcept {
    const u256::PortableResidues f(curve.p);
    struct Powers {
        U256 i, ii, iii;
    };
    Wiped<Powers> z;
    u256::invert(z->i.w, sum.z.w, u256::inversion_modulus(curve.p, curve.factor));
    const U256 product = f.mul(z->i, sum.z);
    const Mask invertible = u256::equal(product.w, curve.one.w);
    const Mask infinite = is_zero(sum.z.w);
    exception |= ~(invertible | infinite);
    z->ii = f.sqr(z->i);
    z->iii = f.mul(z->ii, z->i);
    const U256 plain_one = {{1, 0, 0, 0}};
    out = {f.mul(f.mul(sum.x, z->ii), plain_one), f.mul(f.mul(sum.y, z->iii), plain_one)};
    return static_cast<Outcome>((infinite & ~exception & 1) | (exception & 2));
}

}  // namespace

Outcome multiply_point(const Curve& curve, const Affine& p, const U256& k, Affine& out) noexcept {
    constexpr std::size_t own_frames = 256;
    const Kernels& kernels = active_kernels();
    return with_wiped_stack(kernels.stack + own_frames, [&] {
        Jacobian sum;
        const Mask exception = kernels.multiply_point(curve, p, k, sum);
        return to_affine(curve, sum, exception, out);
    });
}

Outcome multiply_both_vartime(const Curve& curve, const Affine& g, const U256& s, const Affine& p, const U256& t,
                              Affine& out) noexcept {
    Jacobian sum;
    const Mask exception = active_kernels().multiply_both_vartime(curve, g, s, p, t, sum);
    if (exception == 0) return to_affine(curve, sum, exception, out);
    out = {};
    return Outcome::exception;
}

}  // namespace ulmaro::ecp256
