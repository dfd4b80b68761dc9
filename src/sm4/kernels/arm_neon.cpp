// SM4 with look-ups in vector registers, which every 64-bit Arm processor has: 16 blocks side by side.
// out = blocks of in through X[i+4] = X[i] ^ L(S(X[i+1] ^ X[i+2] ^ X[i+3] ^ rk[i])), ECB or CBC; shapes as in
// sm4/kernels.hpp: in[16 * blocks], out[16 * blocks], rk[32], iv[16], no alignment, any count of blocks.
//
// Sixteen blocks are kept as sixteen vectors, one for each byte of a block, so that the rotations of L by whole bytes
// cost nothing. The S-box is read from registers, 64 bytes of it at a time; which addresses it is loaded from does not
// depend on data. One block alone is a chain, in which the look-ups of nibbles.hpp take less time than these.
#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "base/barrier.hpp"
#include "sm4/constants.hpp"
#include "sm4/kernels.hpp"
#include "sm4/kernels/arm_lanes.hpp"
#include "sm4/kernels/nibbles.hpp"
#include "sm4/kernels/vector_modes.hpp"

namespace ulmaro::sm4 {

namespace {

/// A word in eight bytes, twice. Half registers have the faster look-ups on some processors.
struct HalfLanes : Lanes128 {
    using Word = uint8x8_t;
    using Lanes128::add;
    using Lanes128::high_nibbles;
    using Lanes128::look_up;
    using Lanes128::low_nibbles;

    static Vector repeat(const basis::Table& table) { return load(table.byte); }
    static Word fill(std::uint8_t byte) { return vdup_n_u8(byte); }
    static Word broadcast(const std::uint32_t* word) { return vreinterpret_u8_u32(vdup_n_u32(*word)); }
    static void store_word(std::uint32_t* word, Word v) { vst1_lane_u32(word, vreinterpret_u32_u8(v), 0); }
    static Word add(Word a, Word b) { return veor_u8(a, b); }
    static Word add(Word a, Word b, Word c) { return add(a, add(b, c)); }
    static Word look_up(const basis::Table& table, Word index) { return vqtbl1_u8(load(table.byte), index); }
    static Word low_nibbles(Word v) { return vand_u8(v, vdup_n_u8(15)); }
    static Word high_nibbles(Word v) { return vshr_n_u8(v, 4); }
    static Word high_nibbles_in_word(Word v) { return high_nibbles(v); }
    template <int bits>
    static Word rotate_left(Word v) {
        const uint32x2_t w = vreinterpret_u32_u8(v);
        return vreinterpret_u8_u32(vsri_n_u32(vshl_n_u32(w, bits), w, 32 - bits));
    }
    template <int bytes>
    static Word rotate_word(Word v) {
        return vext_u8(v, v, bytes);
    }
    template <int word>
    static Word take_word(Vector v) {
        return vreinterpret_u8_u32(vdup_laneq_u32(vreinterpretq_u32_u8(v), word));
    }
    static Vector join_words(Word a, Word b, Word c, Word d) {
        const uint32x2_t ab = vzip1_u32(vreinterpret_u32_u8(a), vreinterpret_u32_u8(b));
        const uint32x2_t cd = vzip1_u32(vreinterpret_u32_u8(c), vreinterpret_u32_u8(d));
        return vreinterpretq_u8_u32(vcombine_u32(ab, cd));
    }
};

/// Round keys as they are, for Sliced.
struct PlainKeys : Lanes128 {
    static Vector enter_key(Vector v, std::size_t) { return v; }
};

/// The bytes of four blocks: byte j of word w of block b is in plane[j] at 4 b + w.
struct Sliced {
    struct Vector {
        uint8x16_t plane[4];
    };
    static constexpr std::size_t lanes = 4, registers = 32;

    template <typename F>
    [[gnu::always_inline]] static Vector each(F f) {
        return {{f(0), f(1), f(2), f(3)}};
    }

    static Vector load(const std::uint8_t* p) {
        const uint8x16x4_t v = vld4q_u8(p);
        return each([&](std::size_t j) { return v.val[j]; });
    }
    static void store(std::uint8_t* p, const Vector& v) {
        const uint8x16x4_t planes = {{v.plane[0], v.plane[1], v.plane[2], v.plane[3]}};
        vst4q_u8(p, planes);
    }

    /// What load() makes of these blocks.
    static Vector slice(uint8x16_t a, uint8x16_t b, uint8x16_t c, uint8x16_t d) {
        const uint8x16x2_t ab = vuzpq_u8(a, b), cd = vuzpq_u8(c, d);
        const uint8x16x2_t even = vuzpq_u8(ab.val[0], cd.val[0]), odd = vuzpq_u8(ab.val[1], cd.val[1]);
        return {{even.val[0], odd.val[0], even.val[1], odd.val[1]}};
    }
    static Vector load_behind(uint8x16_t first, const std::uint8_t* p, std::size_t blocks) {
        const auto block = [=](std::size_t i) { return i < blocks ? vld1q_u8(p + 16 * i - 16) : vdupq_n_u8(0); };
        return slice(first, block(1), block(2), block(3));
    }
    static Vector load_blocks(const std::uint8_t* p, std::size_t blocks) {
        return blocks < 4 ? load_behind(vld1q_u8(p), p + 16, blocks) : load(p);
    }
    static void store_blocks(std::uint8_t* p, const Vector& v, std::size_t blocks) {
        if (blocks >= 4) return store(p, v);
        const uint8x16x2_t even = vzipq_u8(v.plane[0], v.plane[2]), odd = vzipq_u8(v.plane[1], v.plane[3]);
        const uint8x16x2_t ab = vzipq_u8(even.val[0], odd.val[0]), cd = vzipq_u8(even.val[1], odd.val[1]);
        vst1q_u8(p, ab.val[0]);
        if (blocks > 1) vst1q_u8(p + 16, ab.val[1]);
        if (blocks > 2) vst1q_u8(p + 32, cd.val[0]);
    }

    static Vector zero() {
        return each([](std::size_t) { return vdupq_n_u8(0); });
    }
    static Vector broadcast(const std::uint32_t* word) {
        const uint8x16x4_t byte = vld4q_dup_u8(reinterpret_cast<const std::uint8_t*>(word));
        return each([&](std::size_t j) { return byte.val[j]; });
    }
    static Vector add(const Vector& a, const Vector& b) {
        return each([&](std::size_t j) { return veorq_u8(a.plane[j], b.plane[j]); });
    }
    static Vector enter(const Vector& v) { return v; }
    static Vector leave(const Vector& v) { return v; }

    static void transpose(Vector& a, Vector& b, Vector& c, Vector& d) {
#pragma GCC unroll 4
        for (std::size_t j = 0; j < 4; ++j) {
            const uint8x16x2_t ab = vtrnq_u8(a.plane[j], b.plane[j]), cd = vtrnq_u8(c.plane[j], d.plane[j]);
            const uint16x8_t ab0 = vreinterpretq_u16_u8(ab.val[0]), ab1 = vreinterpretq_u16_u8(ab.val[1]);
            const uint16x8_t cd0 = vreinterpretq_u16_u8(cd.val[0]), cd1 = vreinterpretq_u16_u8(cd.val[1]);
            a.plane[j] = vreinterpretq_u8_u16(vtrn1q_u16(ab0, cd0));
            b.plane[j] = vreinterpretq_u8_u16(vtrn1q_u16(ab1, cd1));
            c.plane[j] = vreinterpretq_u8_u16(vtrn2q_u16(ab0, cd0));
            d.plane[j] = vreinterpretq_u8_u16(vtrn2q_u16(ab1, cd1));
        }
    }

    /// L(S(a + b + key)).
    [[gnu::always_inline]] static Vector change(const Vector& a, const Vector& b, const Vector& key) {
        Vector index = add(add(a, b), key);
        // Both hidden from the compiler: it would keep all of the table and three constants in registers, and store
        // the blocks.
        const std::uint8_t* quarter = value_barrier(SBOX.data());
        uint8x16_t step = vdupq_n_u8(64);
        __asm__("" : "+w"(step));
        Vector s;
#pragma GCC unroll 4
        for (std::size_t q = 0; q < 4; ++q, quarter += 64) {
            const uint8x16x4_t entries = vld1q_u8_x4(quarter);
#pragma GCC unroll 4
            for (std::size_t j = 0; j < 4; ++j) {
                // An index outside this quarter leaves the byte as it is.
                s.plane[j] =
                    q == 0 ? vqtbl4q_u8(entries, index.plane[j]) : vqtbx4q_u8(s.plane[j], entries, index.plane[j]);
                index.plane[j] = vsubq_u8(index.plane[j], step);
            }
        }
        // L(s) = s + (s <<< 24) + ((s + (s <<< 8) + (s <<< 16)) <<< 2); byte j + 1 is the next less significant one.
        const auto pair = each([&](std::size_t j) { return veorq_u8(s.plane[j], s.plane[(j + 1) % 4]); });
        const auto three = each([&](std::size_t j) { return veorq_u8(pair.plane[j], s.plane[(j + 2) % 4]); });
        return each([&](std::size_t j) {
            const uint8x16_t shifted = vsriq_n_u8(vshlq_n_u8(three.plane[j], 2), three.plane[(j + 1) % 4], 6);
            return veorq_u8(shifted, pair.plane[(j + 3) % 4]);
        });
    }
};

}  // namespace

constinit const Kernels arm_neon_kernels =
    VectorModes<Sliced, Nibbles<HalfLanes>, 1, 1, false, PlainKeys, 3>::named("arm-neon");

}  // namespace ulmaro::sm4
