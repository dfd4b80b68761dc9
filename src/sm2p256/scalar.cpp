#include "sm2p256/scalar.hpp"

namespace ulmaro::sm2p256 {
namespace {

constexpr Scalar montgomery_factor = {{0x901192af7c114f20, 0x3464504ade6fa2fa, 0x620fc84c3affe0d4, 0x1eb5e412a22b3d3b}};
constexpr std::uint64_t minus_inverse = 0x327f9e8872350975;  // -1 / n modulo 2^64

// a b / 2^256 modulo n, for a b < 2^256 n.
void montgomery_product(Limbs& r, const Limbs& a, const Limbs& b) noexcept {
    std::uint64_t t[8];
    multiply(t, a, b);
    std::uint64_t top = 0;
    for (int i = 0; i < 4; ++i) {
        const std::uint64_t m = t[i] * minus_inverse;
        std::uint64_t carry = 0;
        for (int j = 0; j < 4; ++j) {
            const Wide s = static_cast<Wide>(m) * group_order.w[j] + t[i + j] + carry;
            t[i + j] = static_cast<std::uint64_t>(s);
            carry = static_cast<std::uint64_t>(s >> 64);
        }
        const Wide s = static_cast<Wide>(t[i + 4]) + carry + top;
        t[i + 4] = static_cast<std::uint64_t>(s);
        top = static_cast<std::uint64_t>(s >> 64);
    }
    for (int i = 0; i < 4; ++i) r[i] = t[i + 4];
    reduce_once(r, top, group_order.w);
}

}  // namespace

// The factor is 2^512: from a 2^256 it makes a^-1 2^256.
constinit const InversionModulus order_inversion = {
    {{0x03bbf40939d54123, 0x003df6b21c6052b5, 0x0fffffffffffff72, 0x0fffefffffffffff, 0x000000000000ffff}},
    0x0d8061778dcaf68b,
    {{0x001192af7c114f20, 0x064504ade6fa2fa9, 0x0fc84c3affe0d434, 0x0e412a22b3d3b620, 0x0000000000001eb5}}};

U256 reduce_to_order(const U256& a) noexcept {
    U256 r = a;
    reduce_once(r.w, 0, group_order.w);
    return r;
}

Scalar scalar_from(const U256& a) noexcept {
    Scalar r;
    montgomery_product(r.w, a.w, montgomery_factor.w);
    return r;
}

U256 scalar_residue(const Scalar& a) noexcept {
    U256 r;
    montgomery_product(r.w, a.w, {1, 0, 0, 0});
    return r;
}

Scalar scalar_mul(const Scalar& a, const Scalar& b) noexcept {
    Scalar r;
    montgomery_product(r.w, a.w, b.w);
    return r;
}

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
