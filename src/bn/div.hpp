// Long division for the files of this room.
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
/// Exactly the words of the two normalised lengths returned are written, nothing above them. q and rem may be null;
/// each may be num or d.
DivisionTops divide(Word* q, Word* rem, const Word* num, int n, const Word* d, int k) noexcept;

/// The zero words above a remainder of top words, none from room on. They are those that BN_rshift() would leave when
/// it undoes the shift that aligns the divisor: by the leading zero bits of its top word, or by a whole word if it has
/// none.
void pad_remainder(Word* rem, int top, int divisor_bits, int room) noexcept;

}  // namespace ulmaro::bn
