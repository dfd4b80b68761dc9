// Shifts by bits.
#include <algorithm>

#include "UlmaroAlgrithmInternals.hpp"
#include "bn/words.hpp"

using namespace ulmaro::bn;

int BN_lshift(unsigned int* r, int* r_top, unsigned int* a, int a_top, int n) {
    n = std::max(n, 0);
    const int words = n / 32;
    // The low words are cleared last, because in place they hold the number itself.
    r[words + a_top] = shift_left(r + words, a, a_top, n % 32);
    std::fill_n(r, words, 0U);
    *r_top = normalised(r, a_top + words + 1);
    return 1;
}

int BN_rshift(unsigned int* r, int* r_top, unsigned int* a, int a_top, int n) {
    n = std::max(n, 0);
    const int words = n / 32;
    const int bits = n % 32;
    if (words > a_top || a_top <= 0) {
        std::fill_n(r, buffer_words(0), 0U);
        *r_top = 0;
        return 0;
    }
    const int top = a_top - words;
    const int room = buffer_words(top);
    shift_right(r, a + words, top, bits);
    // A zero word above the result; a shift by whole words also moves the word above the number, below the zero.
    int above = top;
    if (bits == 0) {
        if (above < room) r[above] = a_top < buffer_words(a_top) ? a[a_top] : 0;
        ++above;
    }
    if (above < room) r[above] = 0;
    *r_top = normalised(r, top);
    return 1;
}

void BN_rshift1(bignum_st* r, int* r_top, bignum_st* a, int a_top) {
    if (a_top <= 0) {
        std::fill_n(r->words, buffer_words(0), 0U);
        *r_top = 0;
        return;
    }
    shift_right(r->words, a->words, a_top, 1);
    *r_top = r->words[a_top - 1] == 0 ? a_top - 1 : a_top;
}
