// SM3 streams and the one-shot hash (GM/T 0004, GB/T 32905).
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

constexpr std::size_t block_bytes = 64;
constexpr std::size_t length_offset = 60;  // only the low 32 bits of the bit count are ever non-zero

void write_digest(unsigned char* out, const std::uint32_t* v) noexcept {
    for (int i = 0; i < 8; ++i) store_be32(out + 4 * i, v[i]);
}

/// Pads and compresses the last `used` bytes, fewer than 120, of a message of `total` bytes.
void finish(std::uint32_t* v, const unsigned char* last, std::size_t used, std::uint32_t total) noexcept {
    unsigned char padded[2 * block_bytes] = {};
    // A copy of known size is a few vector moves; any other is a slow string instruction.
    const std::size_t whole = used / block_bytes * block_bytes;
    if (whole != 0) std::memcpy(padded, last, block_bytes);
    if (used != whole) std::memcpy(padded + whole, last + whole, used - whole);
    padded[used] = 0x80;
    const std::size_t blocks = used < 56 ? 1 : 2;
    store_be32(padded + (blocks - 1) * block_bytes + length_offset, total * 8);
    sm3::active_kernels().compress(v, padded, blocks);
    secure_wipe(padded, sizeof padded);
}

/// Bytes waiting in the context; a context that was never set up must not make us read past its block.
std::size_t pending(const SM3_CTX* ctx) noexcept { return static_cast<unsigned>(ctx->num) % block_bytes; }

}  // namespace

void SM3_Init_ex(SM3_CTX* ctx) {
    ctx->num = 0;
    std::copy_n(sm3::initial_value, 8, ctx->V);
    for (unsigned j = 0; j < 64; ++j) ctx->T[j] = sm3::round_constant(j);
    std::memset(ctx->block, 0, block_bytes);
    ctx->total_len = 0;
}

// The input may lie inside the context, so only the context's count is written before the last byte of the input has
// been read. The waiting bytes are followed by zeros, whatever was there before.
void SM3_Update_ex(SM3_CTX* ctx, unsigned char* in, int len) {
    std::size_t left = checked_length(len);
    const std::size_t waiting = pending(ctx);
    ctx->total_len += static_cast<unsigned>(len);
    if (waiting + left < block_bytes) {
        if (left != 0) std::memmove(ctx->block + waiting, in, left);
        std::memset(ctx->block + waiting + left, 0, block_bytes - waiting - left);
        ctx->num = static_cast<int>(waiting + left);
        return;
    }

    const auto compress = sm3::active_kernels().compress;
    struct Scratch {
        std::uint32_t v[8];
        unsigned char tail[block_bytes];
    };
    Wiped<Scratch> scratch;
    auto& [v, tail] = *scratch;
    std::copy_n(ctx->V, 8, v);
    const unsigned char* next = in;
    if (waiting != 0) {
        std::memcpy(tail, ctx->block, block_bytes);
        std::memcpy(tail + waiting, next, block_bytes - waiting);
        compress(v, tail, 1);
        next += block_bytes - waiting;
        left -= block_bytes - waiting;
    }
    compress(v, next, left / block_bytes);
    next += left / block_bytes * block_bytes;
    left %= block_bytes;
    std::memcpy(tail, next, left);
    std::memset(tail + left, 0, block_bytes - left);
    std::copy_n(v, 8, ctx->V);
    std::memcpy(ctx->block, tail, block_bytes);
    ctx->num = static_cast<int>(left);
}

void SM3_Final_ex(SM3_CTX* ctx, unsigned char* out) {
    finish(ctx->V, ctx->block, pending(ctx), ctx->total_len);
    write_digest(out, ctx->V);
}

void SM3_HASH_ex(unsigned char* in, int len, unsigned char* out) {
    const std::size_t size = checked_length(len);
    // Two blocks take less time in one call of the kernel than in two.
    const std::size_t used =
        size < block_bytes || size % block_bytes >= 56 ? size % block_bytes : size % block_bytes + block_bytes;
    std::uint32_t v[8];
    std::copy_n(sm3::initial_value, 8, v);
    if (size != used) sm3::active_kernels().compress(v, in, (size - used) / block_bytes);
    finish(v, in + (size - used), used, static_cast<std::uint32_t>(size));
    write_digest(out, v);
}

void CF_FUNCTION(SM3_CTX* ctx, unsigned int* /*w*/, unsigned int* vin, unsigned int* wexp, unsigned int* wprime,
                 unsigned int* vout) {
    std::uint32_t a = vin[0], b = vin[1], c = vin[2], d = vin[3];
    std::uint32_t e = vin[4], f = vin[5], g = vin[6], h = vin[7];
    for (unsigned j = 0; j < 64; ++j) {
        const std::uint32_t t = rotl32(ctx->T[j], j % 32);
        if (j < 16) {
            sm3::round<true>(a, b, c, d, e, f, g, h, t, wexp[j], wprime[j]);
        } else {
            sm3::round<false>(a, b, c, d, e, f, g, h, t, wexp[j], wprime[j]);
        }
        const std::uint32_t new_a = d, new_e = h;
        d = c, c = b, b = a, a = new_a;
        h = g, g = f, f = e, e = new_e;
    }
    const std::uint32_t result[8] = {a, b, c, d, e, f, g, h};
    for (int i = 0; i < 8; ++i) vout[i] = vin[i] ^ result[i];
}

void SM3_OPERAAT(SM3_CTX* ctx, unsigned int* w) {
    Wiped<std::uint32_t[68]> wexp_scratch;
    Wiped<std::uint32_t[64]> wprime_scratch;
    std::uint32_t* wexp = wexp_scratch.get();
    std::uint32_t* wprime = wprime_scratch.get();
    std::copy_n(w, 16, wexp);
    for (int j = 16; j < 68; ++j)
        wexp[j] = sm3::expand(wexp[j - 16], wexp[j - 13], wexp[j - 9], wexp[j - 6], wexp[j - 3]);
    for (int j = 0; j < 64; ++j) wprime[j] = wexp[j] ^ wexp[j + 4];
    CF_FUNCTION(ctx, w, ctx->V, wexp, wprime, ctx->V);
}
