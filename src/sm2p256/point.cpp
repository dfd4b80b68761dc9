#include "sm2p256/point.hpp"

namespace ulmaro::sm2p256 {
namespace {

constexpr Fe curve_b = {{0x90d230632bc0dd42, 0x71cf379ae9b537ab, 0x527981505ea51c3c, 0x240fe188ba20e2c8}};

}  // namespace

Mask on_curve(const Affine& p) noexcept {
    using F = PortableField;
    const Fe three = F::add(F::add(fe_one, fe_one), fe_one);
    const Fe right = F::add(F::mul(p.x, F::sub(F::sqr(p.x), three)), curve_b);
    return equal(F::sqr(p.y).w, right.w);
}

}  // namespace ulmaro::sm2p256
