// Long division for the units of this room.
#pragma once

#include "bn/words.hpp"

namespace ulmaro::bn {

constexpr int max_dividend_words = 129;
constexpr int max_divisor_words = 64;

struct DivisionTops {
    int quotient;
    int remainder;
};

/// q = floor(num / d), rem = num mod d for normalised lengths n <= max_dividend_words, 0 < k <= max_divisor_words.
/// Exactly the words of the two normalised lengths answered are written, nothing above them. q and rem may be null;
/// each may be num or d.
DivisionTops divide(Word* q, Word* rem, const Word* num, int n, const Word* d, int k) noexcept;

/// The zero words above a remainder of top words, none from room on. It comes shifted left by what the divisor's top
/// word lacks of 32 bits, or by a whole word if it lacks none, and BN_rshift() brings it back: this is what that
/// leaves.
void pad_remainder(Word* rem, int top, int divisor_bits, int room) noexcept;

}  // namespace ulmaro::bn
