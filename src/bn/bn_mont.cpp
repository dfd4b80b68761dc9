// Montgomery multiplication, R = 2^(32 len). Reduction is interleaved with the product, row by row; every row adds the
// multiple of m that clears its lowest word, so the accumulator moves up one word per row. The 256-bit length runs on
// limbs, one after the other, with the same result.
//
// A result T = (a b + q m) / R with q < R is below R + m for any a, b < R, and below 2m where one of the two is below
// m: one subtraction of m brings it into len words, or below m, and the rule is the same for both, subtract when
// T >= m. T may need one bit above len words.
#include <algorithm>

#include "UlmaroAlgrithmInternals.hpp"
#include "base/wipe.hpp"
#include "bn/div.hpp"
#include "bn/u256.hpp"
#include "u256/portable_montgomery.hpp"

using namespace ulmaro::bn;
namespace u256 = ulmaro::u256;
using Residues = u256::Residues<u256::PortableChains>;

namespace {

constexpr int max_words = 8;

/// -m^-1 modulo 2^32 for odd m, by Newton steps: m is its own inverse modulo 8, and every step doubles the bits.
Word negated_inverse(Word m) noexcept {
    Word x = m;
    for (int bits = 3; bits < 32; bits *= 2) x *= 2 - m * x;
    return 0U - x;
}

/// The modulus with -m^-1 modulo 2^64 from the same modulo 2^32: one more Newton step.
u256::Modulus modulus(const Word* m, Word nprime) noexcept { return {limbs(m), nprime * (2 + limb(m) * nprime)}; }

struct Accumulator {
    Word t[2 * max_words + 1] = {};
    Word less[max_words];  ///< the result minus m
};

/// Adds carry, the top word of row i, into the words above the row. The sum so far is below 2^(32 (i + len + 1) + 1),
/// so word i + len + 1 is at most one.
void add_row_carry(Accumulator& acc, int at, Word carry) noexcept {
    const Wide s = Wide{acc.t[at]} + carry;
    acc.t[at] = static_cast<Word>(s);
    acc.t[at + 1] += static_cast<Word>(s >> 32);
}

void reduce_words_row(Accumulator& acc, int i, const Word* m, int len, Word nprime) noexcept {
    add_row_carry(acc, i + len, mul_add(acc.t + i, m, len, acc.t[i] * nprime));
}

/// r = T - m or T for T = acc.t[len..2 len]; reads all words.
void finish_words(Word* r, Accumulator& acc, const Word* m, int len) noexcept {
    const Word* t = acc.t + len;
    const Word borrow = sub(acc.less, t, m, len);
    const Word keep = 0U - (borrow & (t[len] ^ 1));
    for (int i = 0; i < len; ++i) r[i] = (t[i] & keep) | (acc.less[i] & ~keep);
}

}  // namespace

void BN_MONT_CTX_set(unsigned int* m, int len, unsigned int* nprime_out, unsigned int* rr_out) {
    *nprime_out = 0;
    if (len < 1 || len > max_words) return;
    if ((m[0] & 1) == 0) {
        std::fill_n(rr_out, len, 0U);
        return;
    }
    *nprime_out = negated_inverse(m[0]);
    Word square[2 * max_words + 1] = {};
    square[2 * len] = 1;
    const int used = normalised(m, len);
    const int divisor_bits = bit_length(m[used - 1]);
    const DivisionTops tops = divide(nullptr, rr_out, square, 2 * len + 1, m, used);
    pad_remainder(rr_out, tops.remainder, divisor_bits, len);
}

void BN_mod_mul_montgomery(unsigned int* r, unsigned int* a, unsigned int* b, unsigned int* m, int len,
                           unsigned int nprime) {
    if (len == u256_words) {
        store(r, Residues(modulus(m, nprime)).mul(limbs(a), limbs(b)));
        return;
    }
    if (len < 1 || len > max_words) return;
    ulmaro::Wiped<Accumulator> acc;
    for (int i = 0; i < len; ++i) {
        add_row_carry(*acc, i + len, mul_add(acc->t + i, a, len, b[i]));
        reduce_words_row(*acc, i, m, len, nprime);
    }
    finish_words(r, *acc, m, len);
}

void BN_mod_mul_montgomery_one(unsigned int* r, unsigned int* a, unsigned int* m, int len, unsigned int nprime) {
    if (len == u256_words) {
        store(r, Residues(modulus(m, nprime)).reduced(limbs(a)));
        return;
    }
    if (len < 1 || len > max_words) return;
    ulmaro::Wiped<Accumulator> acc;
    std::copy_n(a, len, acc->t);
    for (int i = 0; i < len; ++i) reduce_words_row(*acc, i, m, len, nprime);
    finish_words(r, *acc, m, len);
}
