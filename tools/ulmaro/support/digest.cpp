#include "support/digest.hpp"

#include <cstddef>
#include <span>
#include <vector>

#include "support/progress.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t piece_bytes = 256U << 10;

}  // namespace

void absorb(Sm3& hash, Input& input, bool show_progress) {
    Progress progress(input.size(), show_progress);
    std::vector<unsigned char> piece(piece_bytes);
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
