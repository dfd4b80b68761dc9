#include "ec/scalar_draw.hpp"

#include "base/declassify.hpp"
#include "base/random.hpp"

namespace ulmaro::ec {

bool ScalarDraws::next(bignum_st& k) noexcept {
    k = {};
    while (left_ > 0) {
        --left_;
        draw_scalar(std::span(k.words).first<8>(), std::span(grp_.order.words).first<8>());
        if (declassify(BN_is_zero(k.words, 8) == 0, Public::draw_accepted)) return true;
    }
    return false;
}

}  // namespace ulmaro::ec
