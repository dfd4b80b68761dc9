// Signature and verification of a digest: GM/T 0003.2 clauses 6.1 (steps A2 to A7) and 7.1 (steps B1 to B7).
#include <array>
#include <cstdio>
#include <optional>

#include "base/declassify.hpp"
#include "base/wipe.hpp"
#include "bn/bytes.hpp"
#include "ec/limbs.hpp"
#include "ec/mod_words.hpp"
#include "ec/multiply.hpp"
#include "ec/order.hpp"
#include "ec/recommended_curve.hpp"
#include "ec/scalar_draw.hpp"
#include "sm2p256/engine.hpp"

using ulmaro::declassify;
using ulmaro::Public;
using ulmaro::Wiped;
using ulmaro::bn::from_be32;
using ulmaro::bn::to_be32;
using ulmaro::u256::Mask;
using ulmaro::u256::store_be;
using namespace ulmaro::ec;

namespace {

// A usable order has eight words, and so does everything computed modulo it.
constexpr int word_count = 8;

using Bytes32 = ulmaro::sm2p256::In;

struct SigningScratch {
    bignum_st k;
    AffinePoint kg;
    U256 d, inverse;
};

bool is_zero(bignum_st& a) noexcept { return BN_is_zero(a.words, word_count) != 0; }

U256 load(const unsigned char* be32) noexcept {
    U256 a;
    ulmaro::u256::load_be(a.w, be32);
    return a;
}

/// d, and inverse = 1 / (1 + d) mod n; false for a key that cannot sign.
bool load_key(U256& d, U256& inverse, const Order& n, const unsigned char* d_be32) noexcept {
    d = load(d_be32);
    if (!declassify(n.is_signing_key(d) != 0, Public::key_can_sign)) return false;
    inverse = n.invert(n.add(d, {{1, 0, 0, 0}}));
    return true;
}

/// Steps A5 and A6 for one scalar and x1; false when it has to be rejected.
bool finish(ECC_SIGNATURE& out, const Order& n, const unsigned char* e_be32, const SigningScratch& of) noexcept {
    const U256 k = limbs(of.k.words);
    const U256 r = n.add(n.reduced(load(e_be32)), n.reduced(limbs(of.kg.x.words)));
    const U256 sum = n.add(r, k);
    const U256 s = n.mul(n.sub(k, n.mul(of.d, r)), of.inverse);
    const Mask rejected = ulmaro::u256::is_zero(r.w) | ulmaro::u256::is_zero(sum.w) | ulmaro::u256::is_zero(s.w);
    store_be(out.r, r.w);
    store_be(out.s, s.w);
    return declassify(rejected == 0, Public::signature_made);
}

/// Steps A3 to A6 until nothing has to be rejected; false when the key cannot sign or the draws run out. On any curve,
/// in constant time as far as its multiples and the arithmetic modulo its order are.
bool sign(ec_group_st& grp, const unsigned char* e, const unsigned char* d, ECC_SIGNATURE& out) noexcept {
    if (!is_usable(grp)) return false;
    const Order n(grp);
    Wiped<SigningScratch> scratch;
    if (!load_key(scratch->d, scratch->inverse, n, d)) return false;
    ScalarDraws draws(grp);
    while (draws.next(scratch->k)) {
        multiply_base(grp, scratch->k, scratch->kg);
        if (finish(out, n, e, *scratch)) return true;
    }
    return false;
}

/// The same on the recommended curve, in constant time.
bool sign_recommended(ec_group_st& grp, Bytes32 e, Bytes32 d, ECC_SIGNATURE& out) noexcept {
    if (!declassify(ulmaro::sm2p256::is_signing_key(d), Public::key_can_sign)) return false;
    Wiped<bignum_st> k;
    Wiped<std::array<unsigned char, 32>> k_be32;
    ScalarDraws draws(grp);
    while (draws.next(*k)) {
        to_be32(k_be32->data(), k->words);
        if (declassify(ulmaro::sm2p256::sign(out.r, out.s, e, d, *k_be32), Public::signature_made)) return true;
    }
    return false;
}

/// Steps B5 to B7 for 0 < r, s < n: how r compares with R = (e + x1') mod n. Empty when there is no R.
std::optional<int> compare(ec_group_st& grp, const unsigned char* e_be32, AffinePoint& key, bool on_curve, bignum_st& r,
                           bignum_st& s) noexcept {
    bignum_st e, t, R;
    AffinePoint sum;
    from_be32(e, e_be32);
    BN_mod_add(t.words, r.words, s.words, grp.order.words, word_count);
    if (is_zero(t) || !multiply_both_vartime(grp, s, key, on_curve, t, sum)) return std::nullopt;
    add_mod(R, e, sum.x, grp.order, word_count);
    return BN_ucmp(r.words, word_count, R.words, word_count);
}

std::optional<int> compare_recommended(Bytes32 e, const ECC_PUBLIC_KEY& key, const ECC_SIGNATURE& signature) noexcept {
    using ulmaro::sm2p256::Comparison;
    switch (ulmaro::sm2p256::verify_vartime(e, signature.r, signature.s, key.x, key.y)) {
        case Comparison::equal:
            return 0;
        case Comparison::less:
            return -1;
        case Comparison::greater:
            return 1;
        case Comparison::none:
            break;
    }
    return std::nullopt;
}

}  // namespace

int ECDSA_Signature(ec_group_st* grp, unsigned char* e, ECC_PRIVATE_KEY* key, ECC_SIGNATURE* signature) {
    ECC_SIGNATURE made;
    // The stack that sign uses with an even order, the deepest case; the point multiplications wipe their own.
    constexpr std::size_t used_stack = 5120;
    const bool done = is_recommended(*grp)
                          ? sign_recommended(*grp, Bytes32(e, 32), key->d, made)
                          : ulmaro::with_wiped_stack(used_stack, [&] { return sign(*grp, e, key->d, made); });
    *signature = done ? made : ECC_SIGNATURE{};  // zeros never verify
    return 0;
}

int ECDSA_Verification(ec_group_st* grp, unsigned char* e, ECC_PUBLIC_KEY* key, ECC_SIGNATURE* signature) {
    bignum_st r, s;
    from_be32(r, signature->r);
    from_be32(s, signature->s);
    bignum_st& n = grp->order;

    // B1, B2
    int difference = BN_ucmp(r.words, word_count, n.words, word_count);
    if (difference >= 0) {
        std::printf("r>=n ret = %d\n", difference);
        return 0;
    }
    difference = BN_ucmp(s.words, word_count, n.words, word_count);
    if (difference >= 0) {
        std::printf("s>=n ret = %d\n", difference);
        return 0;
    }
    if (!is_usable(*grp) || is_zero(r) || is_zero(s)) return 0;

    // A key off the curve goes on to the comparison, so that a bad signature is reported all the same.
    AffinePoint pub = load_point(reinterpret_cast<unsigned char*>(key));
    const bool on_curve = is_on_curve(*grp, pub);
    const std::optional<int> compared = on_curve && is_recommended(*grp)
                                            ? compare_recommended(Bytes32(e, 32), *key, *signature)
                                            : compare(*grp, e, pub, on_curve, r, s);
    if (!compared) return 0;
    if (*compared != 0) {
        std::printf("cmp different! ret= %d\n", *compared);
        return 0;
    }
    return on_curve ? 1 : 0;
}
