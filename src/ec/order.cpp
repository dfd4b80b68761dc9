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

struct Scratch {
    U256 a, b, r;
};

}  // namespace

Order::Order(ec_group_st& grp) noexcept : n_(grp.order) {
    if (!odd()) return;
    unsigned int nprime, factor[kWords];
    BN_MONT_CTX_set(n_.words, kWords, &nprime, factor);
    modulus_ = u256::modulus(limbs(n_.words));
    factor_ = limbs(factor);
}

void Order::mul(bignum_st& r, bignum_st& a, bignum_st& b) const noexcept {
    if (!odd()) return mul_mod(r, a, b, n_, kWords);
    const Residues n(modulus_);
    Wiped<Scratch> s;
    s->a = n.mul(limbs(a.words), factor_);
    s->b = limbs(b.words);
    s->r = n.mul(s->a, s->b);
    from_limbs(r, s->r);
}

void Order::invert(bignum_st& r, bignum_st& a) const noexcept {
    if (!odd()) return inverse_mod(r, a, n_, kWords);
    const Residues n(modulus_);
    Wiped<Scratch> s;
    s->a = limbs(a.words);
    const U256 one = {{1, 0, 0, 0}};
    const auto inversion = u256::inversion_modulus(modulus_, one);
    u256::invert(s->r.w, s->a.w, inversion);
    // a times its inverse is 1; without one it is something else.
    s->b = n.mul(n.mul(s->a, s->r), factor_);
    const u256::Mask exists = u256::equal(s->b.w, one.w);
    for (auto& limb : s->r.w) limb &= exists;
    from_limbs(r, s->r);
}

}  // namespace ulmaro::ec
