// Addition, subtraction and doubling of residues at a fixed word count. No branch depends on a word, except for the
// count that a subtraction returns: it looks for the top word. The 256-bit length runs on limbs.
#include "UlmaroAlgrithmInternals.hpp"
#include "bn/limbs.hpp"

using namespace ulmaro::bn;

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
    if (len == limb_words) {
        Limbs sum;
        const Carry carry = add(sum, load(a), load(b));
        const Limb top = reduce_once(sum, carry, load(m));
        store(r, sum);
        store_top(r + limb_words, carry, static_cast<Word>(top));
        return;
    }
    if (len < 1) return;
    const Word carry = add(r, a, b, len);
    store_top(r + len, carry, reduce_words(r, carry, m, len));
}

void BN_mod_sub(unsigned int* r, int* r_top, unsigned int* a, unsigned int* b, unsigned int* m, int len) {
    Word borrow = 0;
    if (len == limb_words) {
        Limbs difference;
        const Limb wrapped = sub(difference, load(a), load(b));
        add(difference, difference, masked(load(m), 0 - wrapped));
        store(r, difference);
        borrow = static_cast<Word>(wrapped);
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
    if (len == limb_words) {
        const Limbs x = load(a);
        Limbs twice;
        const Carry carry = add(twice, x, x);
        reduce_once(twice, carry, load(m));
        store(r, twice);
        return;
    }
    const Word carry = shift_left(r, a, len, 1);
    reduce_words(r, carry, m, len);
}
