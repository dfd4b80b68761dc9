// Plain (not Montgomery) arithmetic on numbers of eight words, modulo any number. Results fill all ten words of their
// record, so no stale word is left above the length that a division reports.
#pragma once

#include "UlmaroAlgrithmInternals.hpp"
#include "base/wipe.hpp"

namespace ulmaro::ec {

/// r = num mod m, 0 if m is zero. m_top is m's normalised length. num does not overlap r.
inline void reduce(bignum_st& r, unsigned int* num, int num_top, bignum_st& m, int m_top) noexcept {
    int top = 0;
    r = {};
    bn_fix_top(num, &num_top);
    BN_div(nullptr, nullptr, r.words, &top, num, num_top, m.words, m_top);
}

/// r = a + b mod m. r may be a or b.
inline void add_mod(bignum_st& r, bignum_st& a, bignum_st& b, bignum_st& m, int m_top) noexcept {
    Wiped<bignum_st> sum;
    int top = 0;
    BN_uadd(sum->words, &top, a.words, 8, b.words, 8);
    reduce(r, sum->words, top, m, m_top);
}

/// r = a b mod m. r may be a or b.
inline void mul_mod(bignum_st& r, bignum_st& a, bignum_st& b, bignum_st& m, int m_top) noexcept {
    struct Product {
        unsigned int words[16];
    };
    Wiped<Product> product;
    int top = 0;
    BN_mul(product->words, &top, a.words, 8, b.words, 8);
    reduce(r, product->words, top, m, m_top);
}

/// r = 1/a mod m for a of at most m_top words, 0 if there is none. r may be a.
inline void inverse_mod(bignum_st& r, bignum_st& a, bignum_st& m, int m_top) noexcept {
    Wiped<bignum_st> inverse;
    int top = 0;
    *inverse = {};
    BN_mod_inverse(inverse->words, &top, a.words, m_top, m.words, m_top);
    r = *inverse;
}

}  // namespace ulmaro::ec
