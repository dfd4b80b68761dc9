// Signature and verification of a digest: GM/T 0003.2 clauses 6.1 (steps A2 to A7) and 7.1 (steps B1 to B7).
#include <cstdio>

#include "base/wipe.hpp"
#include "bn/bytes.hpp"
#include "ec/mod_words.hpp"
#include "ec/multiply.hpp"
#include "ec/scalar_draw.hpp"

using ulmaro::Wiped;
using ulmaro::bn::from_be32;
using ulmaro::bn::to_be32;
using namespace ulmaro::ec;

namespace {

// A usable order has eight words, and so has everything that is computed modulo it.
constexpr int kWords = 8;

struct SigningScratch {
    bignum_st d, k, w, u, z;
    AffinePoint kg;
};

bool is_zero(bignum_st& a) noexcept { return BN_is_zero(a.words, kWords) != 0; }

/// w = 1 / (1 + d) mod n; false for a key outside 1..n-2, which cannot sign.
bool invert_key(bignum_st& w, bignum_st& d, bignum_st& n) noexcept {
    if (is_zero(d) || BN_ucmp(d.words, kWords, n.words, kWords) >= 0) return false;
    bignum_st one = {{1}};
    BN_mod_add(w.words, d.words, one.words, n.words, kWords);
    if (is_zero(w)) return false;
    inverse_mod(w, w, n, kWords);
    return true;
}

/// Steps A3 to A6 until nothing has to be rejected; false when the draws run out.
bool sign(ec_group_st& grp, bignum_st& e, SigningScratch& scratch, bignum_st& r, bignum_st& s) noexcept {
    auto& [d, k, w, u, z, kg] = scratch;
    bignum_st& n = grp.order;
    ScalarDraws draws(grp);
    while (draws.next(k)) {
        multiply_base(grp, k, kg);
        add_mod(r, e, kg.x, n, kWords);
        if (is_zero(r)) continue;
        BN_mod_add(z.words, r.words, k.words, n.words, kWords);
        if (is_zero(z)) continue;

        mul_mod(u, d, r, n, kWords);
        int top = 0;
        BN_mod_sub(z.words, &top, k.words, u.words, n.words, kWords);
        if (top == 0) continue;
        mul_mod(s, z, w, n, kWords);
        if (!is_zero(s)) return true;
    }
    return false;
}

}  // namespace

int ECDSA_Signature(ec_group_st* grp, unsigned char* e, ECC_PRIVATE_KEY* key, ECC_SIGNATURE* signature) {
    Wiped<SigningScratch> scratch;
    bignum_st digest, r, s;
    from_be32(digest, e);
    from_be32(scratch->d, key->d);
    if (!is_usable(*grp) || !invert_key(scratch->w, scratch->d, grp->order) || !sign(*grp, digest, *scratch, r, s)) {
        r = s = {};  // never verifies
    }
    to_be32(signature->r, r.words);
    to_be32(signature->s, s.words);
    return 0;
}

int ECDSA_Verification(ec_group_st* grp, unsigned char* e, ECC_PUBLIC_KEY* key, ECC_SIGNATURE* signature) {
    bignum_st digest, r, s, t, R;
    from_be32(digest, e);
    from_be32(r, signature->r);
    from_be32(s, signature->s);
    AffinePoint pub = load_point(reinterpret_cast<unsigned char*>(key));
    bignum_st& n = grp->order;

    // B1, B2
    int difference = BN_ucmp(r.words, kWords, n.words, kWords);
    if (difference >= 0) {
        std::printf("r>=n ret = %d\n", difference);
        return 0;
    }
    difference = BN_ucmp(s.words, kWords, n.words, kWords);
    if (difference >= 0) {
        std::printf("s>=n ret = %d\n", difference);
        return 0;
    }
    if (!is_usable(*grp) || is_zero(r) || is_zero(s)) return 0;

    // B5: t = 0 is refused
    BN_mod_add(t.words, r.words, s.words, n.words, kWords);
    if (is_zero(t)) return 0;

    // B6, B7. A key off the curve is carried on to the comparison, so that a bad signature is reported all the same.
    AffinePoint sum;
    if (!multiply_both_vartime(*grp, s, pub, t, sum)) return 0;
    add_mod(R, digest, sum.x, n, kWords);
    difference = BN_ucmp(r.words, kWords, R.words, kWords);
    if (difference != 0) {
        std::printf("cmp different! ret= %d\n", difference);
        return 0;
    }
    return is_on_curve(*grp, pub) ? 1 : 0;
}
