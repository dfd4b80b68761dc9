// Preparation of a group, key pairs, and the curve equation for public keys.
#include <cstddef>
#include <cstring>

#include "base/random.hpp"
#include "base/wipe.hpp"
#include "bn/bytes.hpp"
#include "ec/field.hpp"
#include "ec/mod_words.hpp"
#include "ec/multiply.hpp"
#include "ec/recommended_curve.hpp"
#include "ec/scalar_draw.hpp"
#include "sm2p256/engine.hpp"

using ulmaro::Wiped;
using ulmaro::bn::from_be32;
using ulmaro::bn::to_be32;
using ulmaro::ec::add_mod;
using ulmaro::ec::AffinePoint;
using ulmaro::ec::Field;
using ulmaro::ec::load_point;
using ulmaro::ec::mul_mod;
using ulmaro::ec::multiply_base;
using ulmaro::ec::recommended_curve;
using ulmaro::ec::ScalarDraws;
using ulmaro::ec::store_point;

namespace {

int words_in_use(bignum_st& a) noexcept {
    int top = 8;
    bn_fix_top(a.words, &top);
    return top;
}

unsigned char* bytes_of(ECC_PUBLIC_KEY* key) noexcept { return reinterpret_cast<unsigned char*>(key); }

/// The constants of the prime, the coefficients and the base point, in Montgomery form.
void prepare_montgomery(ec_group_st* grp, const ECCParameter_st* param) noexcept {
    BN_MONT_CTX_set(grp->prime.words, grp->prime_top, &grp->nprime, grp->rr);
    const Field f(*grp);
    bignum_st one = {{1}};
    f.to_montgomery(grp->mont_one, one);

    from_be32(grp->a_mont, param->a);
    from_be32(grp->b_mont, param->b);
    from_be32(grp->generator.X, param->Gx);
    from_be32(grp->generator.Y, param->Gy);
    for (bignum_st* field : {&grp->a_mont, &grp->b_mont, &grp->generator.X, &grp->generator.Y}) {
        f.to_montgomery(*field, *field);
    }
    grp->generator.Z = grp->mont_one;
    grp->generator.z_is_one = 1;
}

void prepare(const ECCParameter_st* param, ec_group_st* grp) noexcept {
    std::memset(grp, 0, sizeof *grp);
    from_be32(grp->prime, param->p);
    from_be32(grp->order, param->n);
    grp->prime_top = words_in_use(grp->prime);
    grp->order_top = words_in_use(grp->order);
    // An even prime has no Montgomery form; the zeros left here make every operation refuse.
    if ((grp->prime.words[0] & 1) != 0 && grp->order_top != 0) prepare_montgomery(grp, param);
}

}  // namespace

bool ulmaro::ec::is_recommended(const ec_group_st& grp) noexcept {
    static const ec_group_st expected = [] {
        ec_group_st prepared;
        prepare(&recommended_curve, &prepared);
        return prepared;
    }();
    return std::memcmp(&grp, &expected, sizeof grp) == 0;
}

int ECC_InitParameter(ECCParameter_st* param, ec_group_st* grp) {
    prepare(param, grp);
    ulmaro::note_group_prepared();
    return 0;
}

int ECC_GenerateKeyPair(ec_group_st* grp, ECC_PUBLIC_KEY* pubKey, ECC_PRIVATE_KEY* priKey) {
    Wiped<bignum_st> d;
    AffinePoint point = {};
    if (ScalarDraws(*grp).next(*d)) multiply_base(*grp, *d, point);
    store_point(bytes_of(pubKey), point);
    to_be32(priKey->d, d->words);
    return 0;
}

int ECC_CalcPubKeyByPriKey(ec_group_st* grp, ECC_PUBLIC_KEY* pubKey, const bignum_st* priKey) {
    Wiped<bignum_st> d;
    *d = {};
    std::memcpy(d->words, priKey->words, 32);
    AffinePoint point;
    multiply_base(*grp, *d, point);
    store_point(bytes_of(pubKey), point);
    return 0;
}

int POINT_is_on_curve(ECCParameter_st* param, ECC_PUBLIC_KEY* pubKey) {
    // The equation is the recommended curve's whatever follows: p, a and b come first.
    if (std::memcmp(param, &recommended_curve, offsetof(ECCParameter_st, Gx)) == 0) {
        return ulmaro::sm2p256::is_on_curve(pubKey->x, pubKey->y) ? 1 : 0;
    }
    bignum_st p, a, b, rhs;
    from_be32(p, param->p);
    from_be32(a, param->a);
    from_be32(b, param->b);
    AffinePoint point = load_point(bytes_of(pubKey));
    const int top = words_in_use(p);
    if (top == 0) return 0;

    // (x^2 + a) x + b
    mul_mod(rhs, point.x, point.x, p, top);
    add_mod(rhs, rhs, a, p, top);
    mul_mod(rhs, rhs, point.x, p, top);
    add_mod(rhs, rhs, b, p, top);
    mul_mod(point.y, point.y, point.y, p, top);
    return BN_ucmp(point.y.words, 8, rhs.words, 8) == 0 ? 1 : 0;
}
