#include "support/digest.hpp"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "support/progress.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t piece_bytes = 256U << 10;

}  // namespace

void absorb(Sm3& hash, Input& input, bool show_progress, const std::atomic<bool>* turn) {
    const std::uint64_t size = input.size();
    Progress progress(size, show_progress, turn);
    // A small file needs no large buffer, only room for one byte more, so that the first read finds the end.
    const auto room =
        size == 0 ? piece_bytes : static_cast<std::size_t>(std::min<std::uint64_t>(piece_bytes, size + 1));
    const auto buffer = std::make_unique_for_overwrite<unsigned char[]>(room);
    const std::span piece(buffer.get(), room);
    std::size_t n;
    do {
        n = input.read(piece);
        hash.update(piece.first(n));
        progress.advance(n);
    } while (n == piece.size());
}

Digest digest_of(Input& input, bool show_progress, const std::atomic<bool>* turn) {
    Sm3 hash;
    absorb(hash, input, show_progress, turn);
    return hash.finish();
}

}  // namespace ulmaro::tool
