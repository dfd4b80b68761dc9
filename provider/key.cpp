#include "key.hpp"

#include <algorithm>

#include "UlmaroAlgrithmFormats.hpp"
#include "ec/recommended_curve.hpp"
#include "sm2p256/engine.hpp"

namespace ulmaro::provider {

// The engine's: the class Curve prepares a group for each public key, and takes eight times as long to look at a point.
PublicKey derive_public(const PrivateKey& key) noexcept {
    std::array<unsigned char, 64> point;
    const std::span<unsigned char, 64> xy(point);
    sm2p256::multiply_base(xy.first<32>(), xy.last<32>(), key.bytes());
    return PublicKey(point);
}

bool is_point(const PublicKey& point) noexcept {
    const auto x = point.bytes().first<32>(), y = point.bytes().last<32>();
    const auto is_reduced = [](std::span<const unsigned char, 32> coordinate) {
        return std::ranges::lexicographical_compare(coordinate, ec::recommended_curve.p);
    };
    return is_reduced(x) && is_reduced(y) && sm2p256::is_on_curve(x, y);
}

EncodedPoint encode_point(const PublicKey& point, Form form) noexcept {
    EncodedPoint encoded{algrithm::uncompressed(point), form == compressed ? 33U : 65U};
    if (form != uncompressed) encoded.bytes[0] = static_cast<unsigned char>(form | (encoded.bytes[64] & 1U));
    return encoded;
}

PublicKey decode_point(const Provider& provider, View encoded) {
    // read_point() does not know the hybrid form, and takes the library's record x || y, which is not an encoding.
    const bool is_hybrid =
        encoded.size() == 65 && (encoded[0] & ~1U) == hybrid && ((encoded[0] ^ encoded[64]) & 1U) == 0;
    const View known = is_hybrid ? View(encoded.subspan(1)) : encoded.size() == 64 ? View() : encoded;
    const auto point = algrithm::attempt([&] { return algrithm::read_point(provider.curve, known); });
    require(point.has_value(), Reason::bad_point);
    return *point;
}

}  // namespace ulmaro::provider
