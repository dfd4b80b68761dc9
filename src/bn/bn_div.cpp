// Division with remainder.
#include <algorithm>

#include "UlmaroAlgrithmInternals.hpp"
#include "base/wipe.hpp"
#include "bn/div.hpp"

namespace ulmaro::bn {
namespace {

/// u -= v * w over n words; returns what is still to be subtracted from the word above.
Word mul_sub(Word* u, const Word* v, int n, Word w) noexcept {
    // At most 2^32 - 1: a product and the carry are at most 2^64 - 2^32 together, which has a low half of 0.
    Wide carry = 0;
    for (int i = 0; i < n; ++i) {
        const Wide t = Wide{v[i]} * w + carry;
        const auto low = static_cast<Word>(t);
        carry = (t >> 32) + (u[i] < low ? 1 : 0);
        u[i] -= low;
    }
    return static_cast<Word>(carry);
}

/// The quotient digit of u[0..k] by v[0..k-1], at most one too large. v's top bit is set and u[1..k] < v.
Word estimate(const Word* u, const Word* v, int k) noexcept {
    const Wide head = (Wide{u[k]} << 32) | u[k - 1];
    const Word v1 = v[k - 1];
    // For u[k] = v1 the estimate is 2^32 or more; the largest digit is 2^32 - 1.
    Wide q = u[k] == v1 ? 0xFFFFFFFF : head / v1;
    if (k == 1) return static_cast<Word>(q);
    Wide rest = head - q * v1;
    while (rest <= 0xFFFFFFFF && q * v[k - 2] > ((rest << 32) | u[k - 2])) {
        --q;
        rest += v1;
    }
    return static_cast<Word>(q);
}

/// One step of long division: subtracts digit * v from u[0..k] and returns the exact digit. The remainder is in
/// u[0..k-1]; u[k] is no longer needed and not updated.
Word divide_step(Word* u, const Word* v, int k) noexcept {
    Word q = estimate(u, v, k);
    if (u[k] < mul_sub(u, v, k, q)) {
        --q;
        add(u, u, v, k);
    }
    return q;
}

}  // namespace

DivisionTops divide(Word* q, Word* rem, const Word* num, int n, const Word* d, int k) noexcept {
    if (n < k) {
        if (rem != nullptr) copy_extended(rem, num, n, n);
        return {0, n};
    }
    // Both are shifted so that the divisor's top bit is set. Uninitialised: only the words used are written, and only
    // those are wiped.
    Word u[max_dividend_words + 1];
    Word v[max_divisor_words];
    const int shift = 32 - bit_length(d[k - 1]);
    shift_left(v, d, k, shift);
    u[n] = shift_left(u, num, n, shift);

    int q_top = n - k;
    for (int i = n - k; i >= 0; --i) {
        const Word digit = divide_step(u + i, v, k);
        if (i == n - k && digit == 0) continue;
        if (i == n - k) ++q_top;
        if (q != nullptr) q[i] = digit;
    }
    shift_right(u, u, k, shift);
    const int rem_top = normalised(u, k);
    if (rem != nullptr) copy_extended(rem, u, rem_top, rem_top);
    secure_wipe(u, sizeof(Word) * static_cast<unsigned>(n + 1));
    secure_wipe(v, sizeof(Word) * static_cast<unsigned>(k));
    return {q_top, rem_top};
}

void pad_remainder(Word* rem, int top, int divisor_bits, int room) noexcept {
    int end = top + 1;
    if (divisor_bits == 32) {
        end = top == 0 ? buffer_words(0) : top + 2;
    } else if (top > 0 && bit_length(rem[top - 1]) > divisor_bits) {
        end = top + 2;
    }
    for (int i = top; i < std::min(end, room); ++i) rem[i] = 0;
}

}  // namespace ulmaro::bn

using namespace ulmaro::bn;

void BN_div(unsigned int* dv, int* dv_top, unsigned int* rm, int* rm_top, unsigned int* num, int num_top,
            unsigned int* d, int d_top) {
    int q_top = 0;
    int rem_top = 0;
    const int n = normalised(num, num_top);
    const int k = normalised(d, d_top);
    if (k > 0 && k <= max_divisor_words && n <= max_dividend_words) {
        const bool smaller = num_top != d_top ? num_top < d_top : compare(num, d, d_top) < 0;
        if (smaller) {
            rem_top = num_top;
            if (rm != nullptr) copy_extended(rm, num, num_top, d_top);
        } else {
            const int divisor_bits = bit_length(d[k - 1]);
            // Deeper than divide goes, which leaves words that a compiler has spilled.
            const DivisionTops tops = ulmaro::with_wiped_stack(1536, [&] { return divide(dv, rm, num, n, d, k); });
            q_top = tops.quotient;
            rem_top = tops.remainder;
            if (rm != nullptr) pad_remainder(rm, rem_top, divisor_bits, buffer_words(d_top));
        }
    }
    if (dv_top != nullptr) *dv_top = q_top;
    if (rm_top != nullptr) *rm_top = rem_top;
}
