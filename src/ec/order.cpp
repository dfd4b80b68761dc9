#include "ec/order.hpp"

#include "base/wipe.hpp"
#include "ec/limbs.hpp"
#include "ec/mod_words.hpp"
#include "u256/divsteps.hpp"

namespace ulmaro::ec {
namespace {

constexpr int kWords = 8;

using u256::U256;
using Residues = u256::Residues<u256::PortableChains>;

// What the arithmetic below uses.
constexpr std::size_t used_stack = 1536;

}  // namespace

Order::Order(ec_group_st& grp) noexcept : n_(grp.order) {
    if (!odd()) return;
    unsigned int nprime, factor[kWords] = {};
    BN_MONT_CTX_set(n_.words, kWords, &nprime, factor);
    modulus_ = u256::modulus(limbs(n_.words));
    factor_ = limbs(factor);
}

void Order::mul(bignum_st& r, bignum_st& a, bignum_st& b) const noexcept {
    if (!odd()) return mul_mod(r, a, b, n_, kWords);
    with_wiped_stack<used_stack>([&] {
        const Residues n(modulus_);
        from_limbs(r, n.mul(n.mul(limbs(a.words), factor_), limbs(b.words)));
    });
}

void Order::invert(bignum_st& r, bignum_st& a) const noexcept {
    if (!odd()) return inverse_mod(r, a, n_, kWords);
    with_wiped_stack<used_stack>([&] {
        const Residues n(modulus_);
        const U256 value = limbs(a.words), one = {{1, 0, 0, 0}};
        const auto inversion = u256::inversion_modulus(modulus_, one);
        U256 inverse;
        u256::invert(inverse.w, value.w, inversion);
        // a times its inverse is 1; without one it is something else.
        const U256 product = n.mul(n.mul(value, inverse), factor_);
        const u256::Mask exists = u256::equal(product.w, one.w);
        for (auto& limb : inverse.w) limb &= exists;
        from_limbs(r, inverse);
    });
}

}  // namespace ulmaro::ec
