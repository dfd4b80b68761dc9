// Word vectors: the loops that every file of this room is made of. Numbers are unsigned, least significant word first;
// a count never includes words above the value unless the caller says so. Nothing here reads words beyond its counts.
//
// The exported routines wrap these. They are inline, so that nothing in this room goes through an exported symbol.
#pragma once

#include <bit>
#include <cstdint>

namespace ulmaro::bn {

using Word = unsigned int;
using Wide = std::uint64_t;

/// r = a + b + carry; returns the carry out. r may be a or b.
inline Word add(Word* r, const Word* a, const Word* b, int n, Word carry = 0) noexcept {
    for (int i = 0; i < n; ++i) {
        const Wide t = Wide{a[i]} + b[i] + carry;
        r[i] = static_cast<Word>(t);
        carry = static_cast<Word>(t >> 32);
    }
    return carry;
}

/// r = a + carry over n words; returns the carry out. r may be a.
inline Word add_carry(Word* r, const Word* a, int n, Word carry) noexcept {
    for (int i = 0; i < n; ++i) {
        const Wide t = Wide{a[i]} + carry;
        r[i] = static_cast<Word>(t);
        carry = static_cast<Word>(t >> 32);
    }
    return carry;
}

/// r = a - b - borrow; returns the borrow out. r may be a or b.
inline Word sub(Word* r, const Word* a, const Word* b, int n, Word borrow = 0) noexcept {
    for (int i = 0; i < n; ++i) {
        const Wide t = Wide{a[i]} - b[i] - borrow;
        r[i] = static_cast<Word>(t);
        borrow = static_cast<Word>(t >> 63);
    }
    return borrow;
}

/// r = a - borrow over n words; returns the borrow out. r may be a.
inline Word sub_borrow(Word* r, const Word* a, int n, Word borrow) noexcept {
    for (int i = 0; i < n; ++i) {
        const Wide t = Wide{a[i]} - borrow;
        r[i] = static_cast<Word>(t);
        borrow = static_cast<Word>(t >> 63);
    }
    return borrow;
}

/// r = a * w; returns the top word. r may be a.
inline Word mul(Word* r, const Word* a, int n, Word w) noexcept {
    Word carry = 0;
    for (int i = 0; i < n; ++i) {
        const Wide t = Wide{a[i]} * w + carry;
        r[i] = static_cast<Word>(t);
        carry = static_cast<Word>(t >> 32);
    }
    return carry;
}

/// r += a * w; returns the top word: (2^32 - 1)^2 + 2 (2^32 - 1) just fits in two words. r may be a.
inline Word mul_add(Word* r, const Word* a, int n, Word w) noexcept {
    Word carry = 0;
    for (int i = 0; i < n; ++i) {
        const Wide t = Wide{a[i]} * w + r[i] + carry;
        r[i] = static_cast<Word>(t);
        carry = static_cast<Word>(t >> 32);
    }
    return carry;
}

/// r[na + nb] = a * b for na, nb >= 1. r must not overlap a or b.
inline void multiply(Word* r, const Word* a, int na, const Word* b, int nb) noexcept {
    r[na] = mul(r, a, na, b[0]);
    for (int j = 1; j < nb; ++j) r[na + j] = mul_add(r + j, a, na, b[j]);
}

/// r = the low n words of a << bits for bits in 0..31; returns the bits shifted out. Runs downwards: r may start at or
/// above a.
inline Word shift_left(Word* r, const Word* a, int n, int bits) noexcept {
    if (n <= 0) return 0;
    const auto out = static_cast<Word>((Wide{a[n - 1]} << bits) >> 32);
    for (int i = n - 1; i > 0; --i) r[i] = static_cast<Word>((((Wide{a[i]} << 32) | a[i - 1]) << bits) >> 32);
    r[0] = a[0] << bits;
    return out;
}

/// r = a >> bits for bits in 0..31. Runs upwards: r may start at or below a.
inline void shift_right(Word* r, const Word* a, int n, int bits) noexcept {
    if (n <= 0) return;
    for (int i = 0; i + 1 < n; ++i) r[i] = static_cast<Word>(((Wide{a[i + 1]} << 32) | a[i]) >> bits);
    r[n - 1] = a[n - 1] >> bits;
}

/// r = a, then zeros up to count words. r may be a.
inline void copy_extended(Word* r, const Word* a, int n, int count) noexcept {
    for (int i = 0; i < n; ++i) r[i] = a[i];
    for (int i = n; i < count; ++i) r[i] = 0;
}

/// 1, 0 or -1 as a >, =, < b over n words. Reads every word, whatever it finds.
inline int compare(const Word* a, const Word* b, int n) noexcept {
    int result = 0;
    for (int i = 0; i < n; ++i) {
        const int here = int{a[i] > b[i]} - int{a[i] < b[i]};
        result = here != 0 ? here : result;
    }
    return result;
}

/// The count without leading zero words.
inline int normalised(const Word* a, int top) noexcept {
    while (top > 0 && a[top - 1] == 0) --top;
    return top;
}

inline int bit_length(Word w) noexcept { return static_cast<int>(std::bit_width(w)); }

/// The smallest buffer that a caller has for a number of this many words: a number buffer, a product buffer, or just
/// its words. Words above a number are read and written only inside it.
constexpr int buffer_words(int words) noexcept { return words <= 10 ? 10 : words <= 18 ? 18 : words; }

}  // namespace ulmaro::bn
