// Schoolbook products.
#include <utility>

#include "UlmaroAlgrithmInternals.hpp"
#include "bn/words.hpp"

using namespace ulmaro::bn;

namespace {

/// The longer operand runs in the inner loop.
void product(Word* r, const Word* a, int na, const Word* b, int nb) noexcept {
    if (na < nb) {
        std::swap(a, b);
        std::swap(na, nb);
    }
    multiply(r, a, na, b, nb);
}

}  // namespace

void BN_mul_nomal(unsigned int* r, unsigned int* a, int na, unsigned int* b, int nb) {
    if (na > 0 && nb > 0) product(r, a, na, b, nb);
}

void BN_mul(unsigned int* r, int* r_top, unsigned int* a, int a_top, unsigned int* b, int b_top) {
    *r_top = 0;
    if (a_top <= 0 || b_top <= 0) return;
    product(r, a, a_top, b, b_top);
    *r_top = normalised(r, a_top + b_top);
}
