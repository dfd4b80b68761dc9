#include "ecp256/engine.hpp"

#include "base/wipe.hpp"
#include "ecp256/kernels.hpp"

namespace ulmaro::ecp256 {
namespace {

// What the deepest of the calls below uses.
constexpr std::size_t used_stack = 4096;

// The plain coordinates of the sum. A z that has no inverse is none of a prime's residues.
Outcome to_affine(const Curve& curve, const Jacobian& sum, Affine& out) noexcept {
    out = {};
    if (is_zero(sum.z.w) != 0) return Outcome::infinite;
    const u256::Residues<u256::PortableChains> f(curve.p);
    struct Powers {
        U256 i, ii, iii;
    };
    Wiped<Powers> z;
    u256::invert(z->i.w, sum.z.w, u256::inversion_modulus(curve.p, curve.factor));
    const U256 product = f.mul(z->i, sum.z);
    if (u256::equal(product.w, curve.one.w) == 0) return Outcome::exception;
    z->ii = f.sqr(z->i);
    z->iii = f.mul(z->ii, z->i);
    const U256 plain_one = {{1, 0, 0, 0}};
    out = {f.mul(f.mul(sum.x, z->ii), plain_one), f.mul(f.mul(sum.y, z->iii), plain_one)};
    return Outcome::finite;
}

}  // namespace

Outcome multiply_point(const Curve& curve, const Affine& p, const U256& k, Affine& out) noexcept {
    return with_wiped_stack<used_stack>([&] {
        Jacobian sum;
        const Mask exception = active_kernels().multiply_point(curve, p, k, sum);
        return exception != 0 ? Outcome::exception : to_affine(curve, sum, out);
    });
}

Outcome multiply_both_vartime(const Curve& curve, const Affine& g, const U256& s, const Affine& p, const U256& t,
                              Affine& out) noexcept {
    Jacobian sum;
    const Mask exception = active_kernels().multiply_both_vartime(curve, g, s, p, t, sum);
    return exception != 0 ? Outcome::exception : to_affine(curve, sum, out);
}

}  // namespace ulmaro::ecp256
