// Word vectors under their exported names, and the division of two words by one.
#include "UlmaroAlgrithmInternals.hpp"
#include "bn/words.hpp"

using namespace ulmaro::bn;

unsigned int bn_add_words(unsigned int* r, const unsigned int* a, const unsigned int* b, int num) {
    return add(r, a, b, num);
}

unsigned int bn_sub_words(unsigned int* r, const unsigned int* a, const unsigned int* b, int num) {
    return sub(r, a, b, num);
}

unsigned int bn_mul_words(unsigned int* r, const unsigned int* a, int num, unsigned int w) { return mul(r, a, num, w); }

unsigned int bn_mul_add_words(unsigned int* r, const unsigned int* a, int num, unsigned int w) {
    return mul_add(r, a, num, w);
}

namespace {

/// One 16-bit quotient digit of (h, l) by d, whose top bit is set; leaves the remainder in (h, l).
Word divide_digit(Word& h, Word& l, Word d) noexcept {
    const Word dh = d >> 16;
    const Word dl = d & 0xFFFF;
    Word q = (h >> 16) == dh ? 0xFFFF : h / dh;
    Word th = q * dh;
    Word tl = q * dl;
    while (h - th < 0x10000 && tl > (((h - th) << 16) | (l >> 16))) {
        --q;
        th -= dh;
        tl -= dl;
    }
    th += tl >> 16;
    tl <<= 16;
    if (l < tl) ++th;
    l -= tl;
    if (h < th) {
        h += d;
        --q;
    }
    h -= th;
    return q;
}

}  // namespace

// By half-word digits and not by one wide division: for h >= 2d there is no quotient word, and the result is then
// whatever these steps produce.
unsigned int bn_div_words(unsigned int h, unsigned int l, unsigned int d) {
    if (d == 0) return 0xFFFFFFFF;
    if (h >= d) h -= d;
    const int shift = 32 - bit_length(d);
    if (shift != 0) {
        d <<= shift;
        h = (h << shift) | (l >> (32 - shift));
        l <<= shift;
    }
    const Word high = divide_digit(h, l, d);
    h = (h << 16) | (l >> 16);
    l <<= 16;
    const Word low = divide_digit(h, l, d);
    return (high << 16) | low;
}
