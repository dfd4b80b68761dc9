// Arithmetic modulo the prime of a prepared group, on numbers of prime_top words. mul, add, sub and twice need
// reduced operands; a result may be any of its operands.
#pragma once

#include "UlmaroAlgrithmInternals.hpp"

namespace ulmaro::ec {

class Field {
public:
    explicit Field(ec_group_st& grp) noexcept : p_(grp.prime.words), top_(grp.prime_top), grp_(grp) {}

    /// r = a b / R.
    void mul(bignum_st& r, bignum_st& a, bignum_st& b) const noexcept {
        BN_mod_mul_montgomery(r.words, a.words, b.words, p_, top_, grp_.nprime);
    }
    void sqr(bignum_st& r, bignum_st& a) const noexcept { mul(r, a, a); }

    void add(bignum_st& r, bignum_st& a, bignum_st& b) const noexcept {
        BN_mod_add(r.words, a.words, b.words, p_, top_);
    }

    /// r = a - b; returns whether the difference is non-zero.
    bool sub(bignum_st& r, bignum_st& a, bignum_st& b) const noexcept {
        int top = 0;
        BN_mod_sub(r.words, &top, a.words, b.words, p_, top_);
        return top != 0;
    }

    void twice(bignum_st& r, bignum_st& a) const noexcept { BN_mod_lshift1(r.words, a.words, p_, top_); }

    /// r = a R, reduced; a may be any number of prime_top words.
    void to_montgomery(bignum_st& r, bignum_st& a) const noexcept {
        BN_mod_mul_montgomery(r.words, a.words, grp_.rr, p_, top_, grp_.nprime);
    }
    /// r = a / R, reduced.
    void from_montgomery(bignum_st& r, bignum_st& a) const noexcept {
        BN_mod_mul_montgomery_one(r.words, a.words, p_, top_, grp_.nprime);
    }

    bool is_zero(bignum_st& a) const noexcept { return BN_is_zero(a.words, static_cast<unsigned int>(top_)) != 0; }
    bool equal(bignum_st& a, bignum_st& b) const noexcept { return BN_ucmp(a.words, top_, b.words, top_) == 0; }

private:
    unsigned int* p_;
    int top_;
    ec_group_st& grp_;
};

}  // namespace ulmaro::ec
