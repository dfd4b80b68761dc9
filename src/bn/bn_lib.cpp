// Comparison, tests and lengths of word-array numbers.
#include "UlmaroAlgrithmInternals.hpp"
#include "bn/words.hpp"

using namespace ulmaro::bn;

int BN_ucmp(unsigned int* a, int a_top, unsigned int* b, int b_top) {
    if (a_top != b_top) return a_top - b_top;
    return compare(a, b, a_top);
}

int BN_is_zero(unsigned int* a, unsigned int n) {
    Word any = 0;
    for (unsigned int i = 0; i < n; ++i) any |= a[i];
    return any == 0 ? 1 : 0;
}

int BN_is_one(unsigned int* a, unsigned int n) {
    if (n == 0) return 0;
    Word any = a[0] ^ 1;
    for (unsigned int i = 1; i < n; ++i) any |= a[i];
    return any == 0 ? 1 : 0;
}

int two_number_same(unsigned int* a, int n, unsigned int* b) {
    Word any = 0;
    for (int i = 0; i < n; ++i) any |= a[i] ^ b[i];
    return any != 0 ? 1 : 0;
}

void bn_fix_top(unsigned int* a, int* top) { *top = normalised(a, *top); }

int BN_num_bits_word(unsigned int w) { return bit_length(w); }

int BN_num_bits(unsigned int* a, int a_top) {
    const int top = normalised(a, a_top);
    return top <= 0 ? 0 : 32 * (top - 1) + bit_length(a[top - 1]);
}
