// Addition and subtraction of numbers of different lengths.
#include <algorithm>
#include <utility>

#include "UlmaroAlgrithmInternals.hpp"
#include "bn/words.hpp"

using namespace ulmaro::bn;

int BN_uadd(unsigned int* r, int* r_top, unsigned int* a, int a_top, unsigned int* b, int b_top) {
    if (a_top < b_top) {
        std::swap(a, b);
        std::swap(a_top, b_top);
    }
    Word carry = add(r, a, b, b_top);
    carry = add_carry(r + b_top, a + b_top, a_top - b_top, carry);
    *r_top = a_top;
    if (carry != 0) r[(*r_top)++] = 1;
    return 1;
}

int BN_usub(unsigned int* r, int* r_top, unsigned int* a, int a_top, unsigned int* b, int b_top) {
    const int common = std::min(a_top, b_top);
    const Word borrow = sub(r, a, b, common);
    sub_borrow(r + common, a + common, a_top - common, borrow);
    *r_top = normalised(r, a_top);
    return 1;
}
