// Modular inverse by the extended Euclidean algorithm.
#include <algorithm>
#include <utility>

#include "UlmaroAlgrithmInternals.hpp"
#include "base/wipe.hpp"
#include "bn/div.hpp"

using namespace ulmaro::bn;

namespace {

constexpr int operand_words = 20;

/// A number of the algorithm, with room for a product of two of them, at most one word longer than the modulus.
struct Number {
    Word words[operand_words + 1];
    int top;

    void assign(const Word* from, int n) noexcept {
        top = n;
        std::copy_n(from, n, words);
    }
};

struct Work {
    Number store[6];
};

/// t = d * x + y. In the first step x is zero, and later y <= x, so that the sum is (d + 1) x at most and fits
/// the d.top + x.top words of the product. No coefficient exceeds the modulus.
void next_coefficient(Number& t, const Number& d, const Number& x, const Number& y) noexcept {
    const bool product = d.top > 0 && x.top > 0;
    if (product) multiply(t.words, d.words, d.top, x.words, x.top);
    t.top = product ? normalised(t.words, d.top + x.top) : 0;
    const Number& longer = t.top >= y.top ? t : y;
    const int common = std::min(t.top, y.top);
    Word carry = add(t.words, t.words, y.words, common);
    carry = add_carry(t.words + common, longer.words + common, longer.top - common, carry);
    t.top = longer.top;
    if (carry != 0) t.words[t.top++] = 1;
}

/// The inverse of a modulo n into k; false when there is none. Lengths are normalised, n > 0.
///
/// The coefficients x and y alternate in sign; they are kept as magnitudes, and the parity of the number of steps gives
/// the sign at the end. Pointers rotate, words do not move.
bool invert(Number& k, const Word* a_words, int a_top, const Word* n_words, int n_top) noexcept {
    ulmaro::Wiped<Work> work;
    Number* a = &work->store[0];
    Number* b = &work->store[1];
    Number* x = &work->store[2];
    Number* y = &work->store[3];
    Number* t = &work->store[4];
    Number& d = work->store[5];
    a->assign(a_words, a_top);
    b->assign(n_words, n_top);
    constexpr Word one = 1;
    x->top = 0;
    y->assign(&one, 1);

    bool odd = false;
    bool last = false;
    while (!last) {
        const DivisionTops tops = divide(d.words, a->words, a->words, a->top, b->words, b->top);
        d.top = tops.quotient;
        a->top = tops.remainder;
        last = a->top == 0;
        next_coefficient(*t, d, *x, *y);
        std::swap(a, b);
        Number* const spare = y;
        y = x;
        x = t;
        t = spare;
        odd = !odd;
    }
    // The last divisor, now in a, is the greatest common divisor.
    if (a->top != 1 || a->words[0] != 1) return false;
    k.assign(y->words, y->top);
    if (odd) {
        const Word borrow = sub(k.words, n_words, y->words, y->top);
        sub_borrow(k.words + y->top, n_words + y->top, n_top - y->top, borrow);
        k.top = normalised(k.words, n_top);
    }
    // Only the modulus 1, for which 0 is the inverse of everything, leaves k = n.
    if (n_top == 1 && n_words[0] == 1) k.top = 0;
    return true;
}

}  // namespace

void BN_mod_inverse(unsigned int* r, int* r_top, unsigned int* a, int a_top, unsigned int* n, int n_top) {
    constexpr int cleared_words = 8;
    const int a_used = normalised(a, a_top);
    const int n_used = normalised(n, n_top);
    ulmaro::Wiped<Number> k;
    // Deeper than invert goes, which leaves words that a compiler has spilled.
    constexpr std::size_t used_stack = 3072;
    if (n_used <= 0 || std::max(a_used, n_used) > operand_words ||
        !ulmaro::with_wiped_stack(used_stack, [&] { return invert(*k, a, std::max(a_used, 0), n, n_used); })) {
        std::fill_n(r, cleared_words, 0U);
        *r_top = 0;
        return;
    }
    copy_extended(r, k->words, k->top, n_top);
    *r_top = k->top;
}
