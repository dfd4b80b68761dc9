// SM4 with the SM4 instructions of Arm: four rounds each, 8 blocks side by side.
// out = blocks of in through X[i+4] = X[i] ^ L(S(X[i+1] ^ X[i+2] ^ X[i+3] ^ rk[i])), ECB or CBC; shapes as in
// sm4/kernels.hpp: in[16 * blocks], out[16 * blocks], rk[32], iv[16], no alignment, any count of blocks.
// The processor has: SM4 (FEAT_SM4).
#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "base/wipe.hpp"
#include "sm4/constants.hpp"
#include "sm4/kernels.hpp"

namespace ulmaro::sm4 {

namespace {

constexpr std::size_t wide = 8;

/// The schedule in registers: four words for each instruction, in the order of use.
struct Schedule {
    uint32x4_t quad[8];
};

// One look-up takes less time than two steps, and fewer instructions.
alignas(16) constexpr std::uint8_t last_byte_first[] = {15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0};
alignas(16) constexpr std::uint8_t last_word_first[] = {12, 13, 14, 15, 8, 9, 10, 11, 4, 5, 6, 7, 0, 1, 2, 3};

uint8x16_t reverse_bytes(uint32x4_t v) { return vqtbl1q_u8(vreinterpretq_u8_u32(v), vld1q_u8(last_byte_first)); }

uint32x4_t reverse_words(uint32x4_t v) {
    return vreinterpretq_u32_u8(vqtbl1q_u8(vreinterpretq_u8_u32(v), vld1q_u8(last_word_first)));
}

Schedule forward(const std::uint32_t* rk) {
    Schedule s;
#pragma GCC unroll 8
    for (std::size_t i = 0; i < 8; ++i) s.quad[i] = vld1q_u32(rk + 4 * i);
    return s;
}

Schedule backward(const std::uint32_t* rk) {
    Schedule s;
#pragma GCC unroll 8
    for (std::size_t i = 0; i < 8; ++i) s.quad[i] = reverse_words(vld1q_u32(rk + 28 - 4 * i));
    return s;
}

/// `blocks` of them, from bytes to bytes.
template <std::size_t blocks>
[[gnu::always_inline]] inline void transform(uint8x16_t (&x)[blocks], const Schedule& s) {
    uint32x4_t w[blocks];
#pragma GCC unroll 8
    for (std::size_t i = 0; i < blocks; ++i) w[i] = vreinterpretq_u32_u8(vrev32q_u8(x[i]));
#pragma GCC unroll 8
    for (std::size_t r = 0; r < 8; ++r)
#pragma GCC unroll 8
        for (std::size_t i = 0; i < blocks; ++i) w[i] = vsm4eq_u32(w[i], s.quad[r]);
#pragma GCC unroll 8
    for (std::size_t i = 0; i < blocks; ++i) x[i] = reverse_bytes(w[i]);  // and with them the words
}

template <std::size_t blocks>
[[gnu::always_inline]] inline void ecb_some(const std::uint8_t* in, std::uint8_t* out, const Schedule& s) {
    uint8x16_t x[blocks];
#pragma GCC unroll 8
    for (std::size_t i = 0; i < blocks; ++i) x[i] = vld1q_u8(in + 16 * i);
    transform(x, s);
#pragma GCC unroll 8
    for (std::size_t i = 0; i < blocks; ++i) vst1q_u8(out + 16 * i, x[i]);
}

// Inlined, so that the schedule never gets a place in memory.
[[gnu::always_inline]] inline void ecb(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks,
                                       const Schedule& s) {
    for (; blocks >= wide; blocks -= wide, in += 16 * wide, out += 16 * wide) ecb_some<wide>(in, out, s);
    if (blocks >= 4) {
        ecb_some<4>(in, out, s);
        blocks -= 4;
        in += 64;
        out += 64;
    }
    for (; blocks != 0; --blocks, in += 16, out += 16) ecb_some<1>(in, out, s);
}

/// chain is the block before in as words, and stays in that form: its bytes are put in order beside the chain.
template <std::size_t blocks>
[[gnu::always_inline]] inline void chain_some(const std::uint8_t* in, std::uint8_t* out, const Schedule& s,
                                              uint32x4_t& chain) {
    uint8x16_t p[blocks], c[blocks];
#pragma GCC unroll 8
    for (std::size_t i = 0; i < blocks; ++i) p[i] = vld1q_u8(in + 16 * i);
#pragma GCC unroll 8
    for (std::size_t i = 0; i < blocks; ++i) {
        uint32x4_t w = veorq_u32(chain, vreinterpretq_u32_u8(vrev32q_u8(p[i])));
#pragma GCC unroll 8
        for (const uint32x4_t quad : s.quad) w = vsm4eq_u32(w, quad);
        c[i] = reverse_bytes(w);
        chain = reverse_words(w);
    }
#pragma GCC unroll 8
    for (std::size_t i = 0; i < blocks; ++i) vst1q_u8(out + 16 * i, c[i]);
}

/// The ciphertext stays in registers, because out may be in or lie below it. chain is the block before in.
template <std::size_t blocks>
[[gnu::always_inline]] inline void cbc_some(const std::uint8_t* in, std::uint8_t* out, const Schedule& s,
                                            uint8x16_t& chain) {
    uint8x16_t c[blocks], x[blocks];
#pragma GCC unroll 8
    for (std::size_t i = 0; i < blocks; ++i) x[i] = c[i] = vld1q_u8(in + 16 * i);
    transform(x, s);
    vst1q_u8(out, veorq_u8(x[0], chain));
#pragma GCC unroll 8
    for (std::size_t i = 1; i < blocks; ++i) vst1q_u8(out + 16 * i, veorq_u8(x[i], c[i - 1]));
    chain = c[blocks - 1];
}

void expand_key(const std::uint32_t* mk, std::uint32_t* rk) noexcept {
    uint32x4_t k = veorq_u32(vld1q_u32(mk), vld1q_u32(FK.data()));
#pragma GCC unroll 8
    for (std::size_t i = 0; i < 32; i += 4) {
        k = vsm4ekeyq_u32(k, vld1q_u32(CK.data() + i));
        vst1q_u32(rk + i, k);
    }
}

void encrypt_blocks(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks, const std::uint32_t* rk) noexcept {
    ecb(in, out, blocks, forward(rk));
}

void decrypt_blocks(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks, const std::uint32_t* rk) noexcept {
    ecb(in, out, blocks, backward(rk));
}

void cbc_encrypt(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks, const std::uint32_t* rk,
                 const std::uint8_t* iv) noexcept {
    const Schedule s = forward(rk);
    uint32x4_t chain = vreinterpretq_u32_u8(vrev32q_u8(vld1q_u8(iv)));
    for (; blocks >= wide; blocks -= wide, in += 16 * wide, out += 16 * wide) chain_some<wide>(in, out, s, chain);
    for (; blocks != 0; --blocks, in += 16, out += 16) chain_some<1>(in, out, s, chain);
}

[[gnu::noinline]] void cbc_decrypt_blocks(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks,
                                          const std::uint32_t* rk, const std::uint8_t* iv) noexcept {
    const Schedule s = backward(rk);
    uint8x16_t chain = vld1q_u8(iv);
    for (; blocks >= wide; blocks -= wide, in += 16 * wide, out += 16 * wide) cbc_some<wide>(in, out, s, chain);
    if (blocks >= 4) {
        cbc_some<4>(in, out, s, chain);
        blocks -= 4;
        in += 64;
        out += 64;
    }
    for (; blocks != 0; --blocks, in += 16, out += 16) cbc_some<1>(in, out, s, chain);
}

void cbc_decrypt(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks, const std::uint32_t* rk,
                 const std::uint8_t* iv) noexcept {
    cbc_decrypt_blocks(in, out, blocks, rk, iv);
    // While eight blocks and their ciphertexts are in registers, some of the schedule may be on the stack.
    if (blocks >= wide) wipe_used_stack(256);
}

}  // namespace

constinit const Kernels arm_sm4_kernels{"arm-sm4",      expand_key,  encrypt_blocks,
                                        decrypt_blocks, cbc_encrypt, cbc_decrypt};

}  // namespace ulmaro::sm4
