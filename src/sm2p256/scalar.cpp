#include "sm2p256/scalar.hpp"

#include "u256/montgomery.hpp"

namespace ulmaro::sm2p256 {
namespace {

constexpr U256 montgomery_factor = {{0x901192af7c114f20, 0x3464504ade6fa2fa, 0x620fc84c3affe0d4, 0x1eb5e412a22b3d3b}};
constexpr u256::Modulus order = u256::modulus(group_order);

// a b / 2^256 modulo n, for a b < 2^256 n.
U256 montgomery_product(const U256& a, const U256& b) noexcept { return u256::PortableResidues(order).mul(a, b); }

U256 limbs(const Scalar& a) noexcept { return {{a.w[0], a.w[1], a.w[2], a.w[3]}}; }
Scalar scalar(const U256& a) noexcept { return {{a.w[0], a.w[1], a.w[2], a.w[3]}}; }

}  // namespace

// The factor is 2^512: it turns a 2^256 into a^-1 2^256.
constinit const InversionModulus order_inversion = {
    {{0x03bbf40939d54123, 0x003df6b21c6052b5, 0x0fffffffffffff72, 0x0fffefffffffffff, 0x000000000000ffff}},
    0x0d8061778dcaf68b,
    {{0x001192af7c114f20, 0x064504ade6fa2fa9, 0x0fc84c3affe0d434, 0x0e412a22b3d3b620, 0x0000000000001eb5}}};

U256 reduce_to_order(const U256& a) noexcept {
    U256 r = a;
    reduce_once(r.w, 0, group_order.w);
    return r;
}

Scalar scalar_from(const U256& a) noexcept { return scalar(montgomery_product(a, montgomery_factor)); }

U256 scalar_residue(const Scalar& a) noexcept { return montgomery_product(limbs(a), {{1, 0, 0, 0}}); }

Scalar scalar_mul(const Scalar& a, const Scalar& b) noexcept { return scalar(montgomery_product(limbs(a), limbs(b))); }

Scalar scalar_add(const Scalar& a, const Scalar& b) noexcept {
    Scalar r;
    add_mod(r.w, a.w, b.w, group_order.w);
    return r;
}

Scalar scalar_sub(const Scalar& a, const Scalar& b) noexcept {
    Scalar r;
    subtract_mod(r.w, a.w, b.w, group_order.w);
    return r;
}

Scalar scalar_invert(const Scalar& a) noexcept {
    Scalar r;
    invert(r.w, a.w, order_inversion);
    return r;
}

}  // namespace ulmaro::sm2p256
