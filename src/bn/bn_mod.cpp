// Addition, subtraction and doubling of residues at a fixed word count. No branch depends on a word, except for the
// count that a subtraction returns: it looks for the top word. The 256-bit length runs on limbs.
#include "UlmaroAlgrithmInternals.hpp"
#include "bn/u256.hpp"

using namespace ulmaro::bn;
namespace u256 = ulmaro::u256;
using u256::U256;

namespace {

/// r -= m over len words where mask is all ones, and nothing where it is zero; returns the borrow.
Word sub_masked(Word* r, const Word* m, int len, Word mask) noexcept {
    Word borrow = 0;
    for (int i = 0; i < len; ++i) {
        const Wide t = Wide{r[i]} - (m[i] & mask) - borrow;
        r[i] = static_cast<Word>(t);
        borrow = static_cast<Word>(t >> 63);
    }
    return borrow;
}

/// The borrow of a - m, without a result.
Word borrow_of(const Word* a, const Word* m, int len) noexcept {
    Word borrow = 0;
    for (int i = 0; i < len; ++i) borrow = static_cast<Word>((Wide{a[i]} - m[i] - borrow) >> 63);
    return borrow;
}

/// Reduces the number (carry, r) by m once where it is at least m; returns the word above the result.
Word reduce_words(Word* r, Word carry, const Word* m, int len) noexcept {
    const Word keep = borrow_of(r, m, len) & (carry ^ 1);
    return carry - sub_masked(r, m, len, keep - 1);
}

/// The word above a sum changes only when the sum had one, but without a branch.
void store_top(Word* top, Word carry, Word value) noexcept {
    const Word mask = 0U - carry;
    *top = (*top & ~mask) | (value & mask);
}

}  // namespace

void BN_mod_add(unsigned int* r, unsigned int* a, unsigned int* b, unsigned int* m, int len) {
    if (len == u256_words) {
        U256 sum;
        const std::uint64_t carry = u256::add(sum.w, limbs(a).w, limbs(b).w);
        const std::uint64_t top = u256::reduce_once(sum.w, carry, limbs(m).w);
        store(r, sum);
        store_top(r + u256_words, static_cast<Word>(carry), static_cast<Word>(top));
        return;
    }
    if (len < 1) return;
    const Word carry = add(r, a, b, len);
    store_top(r + len, carry, reduce_words(r, carry, m, len));
}

void BN_mod_sub(unsigned int* r, int* r_top, unsigned int* a, unsigned int* b, unsigned int* m, int len) {
    Word borrow = 0;
    if (len == u256_words) {
        U256 difference;
        borrow = static_cast<Word>(u256::subtract_mod(difference.w, limbs(a).w, limbs(b).w, limbs(m).w));
        store(r, difference);
    } else {
        borrow = sub(r, a, b, len);
        Word carry = 0;
        for (int i = 0; i < len; ++i) {
            const Wide t = Wide{r[i]} + (m[i] & (0U - borrow)) + carry;
            r[i] = static_cast<Word>(t);
            carry = static_cast<Word>(t >> 32);
        }
    }
    // The count of a difference that went below zero includes its leading zero words.
    *r_top = borrow != 0 ? len : normalised(r, len);
}

void BN_mod_lshift1(unsigned int* r, unsigned int* a, unsigned int* m, int len) {
    if (len == u256_words) {
        const U256 x = limbs(a);
        U256 twice;
        u256::add_mod(twice.w, x.w, x.w, limbs(m).w);
        store(r, twice);
        return;
    }
    const Word carry = shift_left(r, a, len, 1);
    reduce_words(r, carry, m, len);
}
