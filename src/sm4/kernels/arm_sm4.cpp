// SM4 with the SM4 instructions of Arm: four rounds each, 8 blocks side by side.
// out = blocks of in through X[i+4] = X[i] ^ L(S(X[i+1] ^ X[i+2] ^ X[i+3] ^ rk[i])), ECB or CBC; shapes as in
// sm4/kernels.hpp: in[16 * blocks], out[16 * blocks], rk[32], iv[16], no alignment, any count of blocks.
// The processor has: SM4 (FEAT_SM4).
#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "sm4/constants.hpp"
#include "sm4/kernels.hpp"

namespace ulmaro::sm4 {

namespace {

constexpr std::size_t wide = 8;

/// The schedule in registers: four words for each instruction, in the order of use.
struct Schedule {
    uint32x4_t quad[8];
};

uint32x4_t reverse_words(uint32x4_t v) {
    const uint32x4_t pairs = vrev64q_u32(v);
    return vextq_u32(pairs, pairs, 2);
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
    for (std::size_t i = 0; i < blocks; ++i) x[i] = vrev32q_u8(vreinterpretq_u8_u32(reverse_words(w[i])));
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
    uint8x16_t v[1] = {vld1q_u8(iv)};
    for (; blocks != 0; --blocks, in += 16, out += 16) {
        v[0] = veorq_u8(v[0], vld1q_u8(in));
        transform(v, s);
        vst1q_u8(out, v[0]);
    }
}

void cbc_decrypt(const std::uint8_t* in, std::uint8_t* out, std::size_t blocks, const std::uint32_t* rk,
                 const std::uint8_t* iv) noexcept {
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

}  // namespace

constinit const Kernels arm_sm4_kernels{"arm-sm4",      expand_key,  encrypt_blocks,
                                        decrypt_blocks, cbc_encrypt, cbc_decrypt};

}  // namespace ulmaro::sm4
