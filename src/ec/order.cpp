#include "ec/order.hpp"

#include "base/wipe.hpp"
#include "ec/limbs.hpp"
#include "ec/mod_words.hpp"
#include "u256/divsteps.hpp"

namespace ulmaro::ec {
namespace {

constexpr int word_count = 8;
constexpr U256 one = {{1, 0, 0, 0}};

using Residues = u256::PortableResidues;

// 2^512 mod n. The exported routine stores only the residue's own words; the caller clears the others.
U256 montgomery_factor(bignum_st& n) noexcept {
    unsigned int nprime, factor[word_count] = {};
    BN_MONT_CTX_set(n.words, word_count, &nprime, factor);
    return limbs(factor);
}

struct Words {
    bignum_st r, a, b;
};

}  // namespace

Order::Order(ec_group_st& grp) noexcept
    : n_(grp.order), modulus_(u256::modulus(limbs(grp.order.words))), factor_(montgomery_factor(grp.order)) {}

U256 Order::add(const U256& a, const U256& b) const noexcept {
    U256 r;
    u256::add_mod(r.w, a.w, b.w, modulus_.m.w);
    return r;
}

U256 Order::sub(const U256& a, const U256& b) const noexcept {
    U256 r;
    u256::subtract_mod(r.w, a.w, b.w, modulus_.m.w);
    return r;
}

U256 Order::mul(const U256& a, const U256& b) const noexcept {
    if (!odd()) {
        Wiped<Words> words;
        from_limbs(words->a, a);
        from_limbs(words->b, b);
        mul_mod(words->r, words->a, words->b, n_, word_count);
        return limbs(words->r.words);
    }
    const Residues n(modulus_);
    return n.mul(n.mul(a, factor_), b);
}

U256 Order::invert(const U256& a) const noexcept {
    if (!odd()) {
        Wiped<Words> words;
        from_limbs(words->a, a);
        inverse_mod(words->r, words->a, n_, word_count);
        return limbs(words->r.words);
    }
    const Residues n(modulus_);
    U256 inverse;
    u256::invert(inverse.w, a.w, u256::inversion_modulus(modulus_, one));
    // a times its inverse is 1; without an inverse it is not.
    const U256 product = n.mul(n.mul(a, inverse), factor_);
    const u256::Mask exists = u256::equal(product.w, one.w);
    for (auto& limb : inverse.w) limb &= exists;
    return inverse;
}

u256::Mask Order::is_signing_key(const U256& d) const noexcept {
    U256 largest;
    u256::subtract(largest.w, modulus_.m.w, one.w);
    return u256::less(d.w, largest.w) & ~u256::is_zero(d.w);
}

}  // namespace ulmaro::ec
