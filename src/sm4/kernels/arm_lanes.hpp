// Blocks in the vector registers of Arm, one in each, and the steps that its kernels share.
#pragma once

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "sm4/kernels/basis.hpp"

namespace ulmaro::sm4 {
namespace {

struct Lanes128 {
    using Vector = uint8x16_t;
    static constexpr std::size_t lanes = 1, registers = 32;

    static Vector load(const std::uint8_t* p) { return vld1q_u8(p); }
    static void store(std::uint8_t* p, Vector v) { vst1q_u8(p, v); }
    static Vector load_blocks(const std::uint8_t* p, std::size_t) { return load(p); }
    static void store_blocks(std::uint8_t* p, Vector v, std::size_t) { store(p, v); }
    static Vector load_behind(Vector first, const std::uint8_t*, std::size_t) { return first; }

    static Vector zero() { return vdupq_n_u8(0); }
    static Vector broadcast(const std::uint32_t* word) { return vreinterpretq_u8_u32(vdupq_n_u32(*word)); }
    static void store_word(std::uint32_t* word, Vector v) { vst1q_lane_u32(word, vreinterpretq_u32_u8(v), 0); }
    static Vector add(Vector a, Vector b) { return veorq_u8(a, b); }
    static Vector add(Vector a, Vector b, Vector c) { return add(a, add(b, c)); }
    template <int bits>
    static Vector rotate_left(Vector v) {
        const uint32x4_t w = vreinterpretq_u32_u8(v);
        return vreinterpretq_u8_u32(vsriq_n_u32(vshlq_n_u32(w, bits), w, 32 - bits));
    }
    static Vector look_up(const basis::Table& table, Vector index) { return vqtbl1q_u8(load(table.byte), index); }
    static Vector low_nibbles(Vector v) { return vandq_u8(v, vdupq_n_u8(15)); }
    static Vector high_nibbles(Vector v) { return vshrq_n_u8(v, 4); }
    static Vector shuffle(Vector v, const basis::Table& from) { return vqtbl1q_u8(v, load(from.byte)); }

    static void transpose(Vector& a, Vector& b, Vector& c, Vector& d) {
        const uint32x4x2_t ab = vtrnq_u32(vreinterpretq_u32_u8(a), vreinterpretq_u32_u8(b));
        const uint32x4x2_t cd = vtrnq_u32(vreinterpretq_u32_u8(c), vreinterpretq_u32_u8(d));
        const uint64x2_t ab0 = vreinterpretq_u64_u32(ab.val[0]), ab1 = vreinterpretq_u64_u32(ab.val[1]);
        const uint64x2_t cd0 = vreinterpretq_u64_u32(cd.val[0]), cd1 = vreinterpretq_u64_u32(cd.val[1]);
        a = vreinterpretq_u8_u64(vtrn1q_u64(ab0, cd0));
        b = vreinterpretq_u8_u64(vtrn1q_u64(ab1, cd1));
        c = vreinterpretq_u8_u64(vtrn2q_u64(ab0, cd0));
        d = vreinterpretq_u8_u64(vtrn2q_u64(ab1, cd1));
    }
};

}  // namespace
}  // namespace ulmaro::sm4
