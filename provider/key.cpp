#include "key.hpp"

#include <algorithm>
#include <cstring>

#include "ec/recommended_curve.hpp"
#include "sm2p256/engine.hpp"
#include "sm2p256/field.hpp"

namespace ulmaro::provider {
namespace {

using namespace ulmaro::sm2p256;
using F = PortableField;

/// a^((p + 1) / 4), a square root of a if it has one. Variable time.
Fe square_root(const Fe& a) noexcept {
    // (p + 1) / 4 = 2^254 - 2^222 - 2^94 + 2^62
    constexpr std::uint64_t exponent[4] = {0x4000000000000000, 0xffffffffc0000000, 0xffffffffffffffff,
                                           0x3fffffffbfffffff};
    Fe root = fe_one;
    for (int bit = 253; bit >= 0; --bit) {
        root = F::sqr(root);
        if ((exponent[bit / 64] >> (bit % 64) & 1) != 0) root = F::mul(root, a);
    }
    return root;
}

Fe load(const unsigned char* be32) noexcept {
    U256 number;
    load_be(number.w, be32);
    return fe_from(number);
}

/// One of the two y that may belong to x; the caller has to look whether it does.
void complete(ECC_PUBLIC_KEY& point, bool odd) noexcept {
    const auto& curve = ec::recommended_curve;
    const Fe x = load(point.x);
    const Fe y = square_root(F::add(F::mul(F::add(F::sqr(x), load(curve.a)), x), load(curve.b)));
    U256 residue = fe_residue(y);
    if (((residue.w[0] & 1) != 0) != odd) subtract(residue.w, field_prime.w, residue.w);
    store_be(point.y, residue.w);
}

}  // namespace

void derive_public(KeyPair& pair) noexcept {
    pair.has_public = multiply_base(pair.public_key.xy.x, pair.public_key.xy.y, pair.private_key.d);
}

bool is_point(const ECC_PUBLIC_KEY& point) noexcept {
    const auto& p = ec::recommended_curve.p;
    return std::memcmp(point.x, p, sizeof p) < 0 && std::memcmp(point.y, p, sizeof p) < 0 &&
           is_on_curve(point.x, point.y);
}

bool decode_point(View encoded, ECC_PUBLIC_KEY& point) noexcept {
    if (encoded.empty()) return false;
    const unsigned char form = encoded[0];
    const bool odd = (form & 1) != 0;
    if (encoded.size() == 65 && (form == 4 || form == 6 || form == 7)) {
        std::memcpy(&point, &encoded[1], sizeof point);
        const bool y_is_odd = (point.y[31] & 1) != 0;
        return (form == 4 || odd == y_is_odd) && is_point(point);
    }
    if (encoded.size() != 33 || (form != 2 && form != 3)) return false;
    std::copy_n(&encoded[1], sizeof point.x, point.x);
    complete(point, odd);
    return is_point(point);
}

}  // namespace ulmaro::provider
