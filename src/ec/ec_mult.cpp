// Scalar multiplication: width-w non-adjacent forms, and one interleaved double-and-add pass over them. The running sum
// is negated whenever the sign of the digits changes, so the tables hold only positive multiples.
#include <algorithm>
#include <array>
#include <cstdlib>

#include "base/wipe.hpp"
#include "ec/field.hpp"

using ulmaro::Wiped;
using ulmaro::ec::Field;

namespace {

constexpr int scalar_words = 10;
constexpr int max_digits = 32 * scalar_words + 1;
constexpr int max_width = 4;

/// Bit i of a number; words above its length are never read.
unsigned int bit_at(const unsigned int* words, int num, int i) noexcept {
    return i / 32 < num ? (words[i / 32] >> (i % 32)) & 1 : 0;
}

/// Bits i to i + count - 1, count at most 8.
unsigned int bits_at(const unsigned int* words, int num, int i, int count) noexcept {
    unsigned int bits = 0;
    for (int j = 0; j < count; ++j) bits |= bit_at(words, num, i + j) << j;
    return bits;
}

/// Writes the digits of a scalar of `bits` bits up to the last non-zero one, least significant first, and returns their
/// number, at most bits + 1. A negative digit is its window minus 2^(w+1) and carries one into the next.
int recode(signed char* digits, const unsigned int* scalar, int num, int bits, int w) noexcept {
    unsigned int carry = 0;
    int used = 0;
    for (int i = 0; i <= bits;) {
        if (bit_at(scalar, num, i) == carry) {
            digits[i++] = 0;
            continue;
        }
        const unsigned int window = bits_at(scalar, num, i, w + 1) + carry;
        carry = window >> w;
        digits[i] = static_cast<signed char>(static_cast<int>(window) - static_cast<int>(carry << (w + 1)));
        used = i + 1;
        const int next = std::min(used + w, bits + 1);
        for (i = used; i < next; ++i) digits[i] = 0;
    }
    return used;
}

int width_for(int bits) noexcept {
    if (bits >= 300) return 4;
    if (bits >= 70) return 3;
    return bits >= 20 ? 2 : 1;
}

/// A scalar's digits and the odd multiples of its point.
struct Term {
    std::array<signed char, max_digits> digits;
    int len;
    std::array<ec_point_st, 1 << (max_width - 1)> odd;  // P, 3P, 5P, ...
};

void prepare_term(ec_group_st* grp, Term& term, const ec_point_st* P, bignum_st* k) noexcept {
    const int num = std::clamp(grp->order_top, 0, scalar_words);
    const int bits = BN_num_bits(k->words, num);
    const int w = width_for(bits);
    term.odd[0] = *P;
    if (w > 1) {
        Wiped<ec_point_st> twice;
        *twice = {};
        ec_GFp_simple_dbl(grp, &*twice, &term.odd[0]);
        for (std::size_t j = 1; j < std::size_t{1} << (w - 1); ++j) {
            term.odd[j] = {};
            ec_GFp_simple_add(grp, &term.odd[j], &term.odd[j - 1], &*twice);
        }
    }
    term.len = recode(term.digits.data(), k->words, num, bits, w);
}

/// Y = p - Y in words, for Y = 0 too.
void negate_y(ec_group_st* grp, ec_point_st* r) noexcept {
    int top = 0;
    BN_usub(r->Y.words, &top, grp->prime.words, grp->prime_top, r->Y.words, grp->prime_top);
}

/// The running sum: r, negated if `inverted`; infinity before the first term.
class Sum {
public:
    Sum(ec_group_st* grp, ec_point_st* r) noexcept : grp_(grp), r_(r) {}

    void add_digit(Term& term, int digit) noexcept {
        if ((digit < 0) != inverted_) {
            if (started_ && ec_GFp_simple_is_at_infinity(grp_, r_) == 0 && !Field(*grp_).is_zero(r_->Y)) {
                negate_y(grp_, r_);
            }
            inverted_ = !inverted_;
        }
        ec_point_st& multiple = term.odd[static_cast<std::size_t>((std::abs(digit) - 1) / 2)];
        if (started_) {
            ec_GFp_simple_add(grp_, r_, r_, &multiple);
        } else {
            *r_ = multiple;
            started_ = true;
        }
    }

    void twice() noexcept {
        if (started_) ec_GFp_simple_dbl(grp_, r_, r_);
    }

    void settle_sign() noexcept {
        if (inverted_) negate_y(grp_, r_);
    }

private:
    ec_group_st* grp_;
    ec_point_st* r_;
    bool started_ = false;
    bool inverted_ = false;
};

}  // namespace

signed char* compute_wNAF(bignum_st* scalar, int w, int len, int* outLen) {
    const int num = std::clamp(len, 0, scalar_words);
    const int bits = BN_num_bits(scalar->words, num);
    auto* digits = static_cast<signed char*>(std::malloc(static_cast<std::size_t>(bits) + 1));
    // Digits of width above 7 do not fit into eight bits.
    *outLen = digits == nullptr ? 0 : recode(digits, scalar->words, num, bits, std::clamp(w, 1, 7));
    return digits;
}

void EC_POINTs_mul(ec_group_st* grp, ec_point_st* r, ec_point_st* P, bignum_st* k, ec_point_st* Q, bignum_st* l) {
    Wiped<std::array<Term, 2>> terms;
    const std::size_t count = l != nullptr ? 2 : 1;
    int digits = 0;
    if (l != nullptr) prepare_term(grp, (*terms)[0], Q, l);
    prepare_term(grp, (*terms)[count - 1], P, k);
    for (std::size_t i = 0; i < count; ++i) digits = std::max(digits, (*terms)[i].len);
    if (digits == 0) return;

    Sum sum(grp, r);
    for (int pos = digits - 1; pos >= 0; --pos) {
        for (std::size_t i = 0; i < count; ++i) {
            Term& term = (*terms)[i];
            if (pos < term.len && term.digits[static_cast<std::size_t>(pos)] != 0) {
                sum.add_digit(term, term.digits[static_cast<std::size_t>(pos)]);
            }
        }
        if (pos > 0) sum.twice();
    }
    sum.settle_sign();
}
