// The SM2 key derivation function (GM/T 0003.4 clause 5.4.3): SM3(z || 1) || SM3(z || 2) || ... with 32-bit counters.
//
// The blocks that hold only bytes of z are compressed once; every counter starts from that chaining value.
#include <algorithm>
#include <cstring>

#include "UlmaroAlgrithmInternals.hpp"
#include "base/bytes.hpp"
#include "base/memory.hpp"
#include "base/wipe.hpp"
#include "sm3/kernels.hpp"
#include "sm3/rounds.hpp"

namespace {

using namespace ulmaro;

constexpr std::size_t kBlock = 64;
constexpr std::size_t kDigest = 32;

/// What all counters share: the chaining value after the whole blocks of z, and the padded rest with a gap of four
/// bytes for the counter. It is complete before the first output byte is written, so the output may lie over z.
struct Prefix {
    std::uint32_t v[8];
    unsigned char rest[2 * kBlock];
    std::size_t counter_offset;
    std::size_t blocks;

    Prefix(const unsigned char* z, std::size_t size) noexcept : rest{}, counter_offset(size % kBlock) {
        std::copy_n(sm3::kInitialValue, 8, v);
        sm3::active_kernels().compress(v, z, size / kBlock);
        if (counter_offset != 0) std::memcpy(rest, z + (size - counter_offset), counter_offset);
        const std::size_t used = counter_offset + 4;
        rest[used] = 0x80;
        blocks = used < 56 ? 1 : 2;
        store_be32(rest + blocks * kBlock - 4, static_cast<std::uint32_t>(size + 4) * 8);
    }
    ~Prefix() { secure_wipe(this, sizeof *this); }
    Prefix(const Prefix&) = delete;
    Prefix& operator=(const Prefix&) = delete;

    void digest(std::uint32_t counter, unsigned char* out) noexcept {
        Wiped<std::uint32_t[8]> scratch;
        std::uint32_t* state = scratch.get();
        std::copy_n(v, 8, state);
        store_be32(rest + counter_offset, counter);
        sm3::active_kernels().compress(state, rest, blocks);
        for (int i = 0; i < 8; ++i) store_be32(out + 4 * i, state[i]);
    }
};

}  // namespace

void KDF_ALGRITRHM(unsigned char* z, int zLen, int kLen, unsigned char* out) {
    const std::size_t size = checked_length(zLen);
    if (kLen <= 0) return;
    Prefix prefix(z, size);
    std::size_t left = static_cast<std::size_t>(kLen);
    std::uint32_t counter = 1;
    for (; left >= kDigest; left -= kDigest, out += kDigest) prefix.digest(counter++, out);
    if (left != 0) {
        Wiped<unsigned char[kDigest]> last;
        prefix.digest(counter, last.get());
        std::memcpy(out, last.get(), left);
    }
}
