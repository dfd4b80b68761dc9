#include "support/digest.hpp"

#include <algorithm>
#include <cstddef>
#include <vector>

#include "support/progress.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t kPiece = 256U << 10;

void store_be(std::span<unsigned char> out, std::uint64_t value) {
    for (std::size_t i = out.size(); i-- > 0; value >>= 8) out[i] = static_cast<unsigned char>(value);
}

}  // namespace

void Sm3::update(std::span<const unsigned char> bytes) {
    length_ += bytes.size();
    while (!bytes.empty()) {
        const std::size_t n = std::min<std::size_t>(bytes.size(), 1U << 30);
        SM3_Update(&context_, bytes.data(), static_cast<int>(n));
        bytes = bytes.subspan(n);
    }
}

/// Pads here instead of calling SM3_Final(): its length field ends at 2^32 bits, and the digest of a file must be
/// the standard's whatever the file's size. The padding fills a block, so the chaining value is the digest.
Digest Sm3::finish() {
    std::array<unsigned char, 72> padding{0x80};
    const std::uint64_t bits = length_ * 8;
    const std::size_t zeros = (119 - length_ % 64) % 64;
    store_be(std::span(padding).subspan(1 + zeros, 8), bits);
    update(std::span(padding).first(1 + zeros + 8));
    Digest digest;
    for (std::size_t i = 0; i < 8; ++i) store_be(std::span(digest).subspan(4 * i, 4), context_.V[i]);
    return digest;
}

void absorb(Sm3& hash, Input& input, bool show_progress) {
    Progress progress(input.size(), show_progress);
    std::vector<unsigned char> piece(kPiece);
    std::size_t n;
    do {
        n = input.read(piece);
        hash.update(std::span(piece).first(n));
        progress.advance(n);
    } while (n == piece.size());
}

Digest digest_of(Input& input, bool show_progress) {
    Sm3 hash;
    absorb(hash, input, show_progress);
    return hash.finish();
}

}  // namespace ulmaro::tool
