// SM4 with the AES instructions of Arm: 16 blocks side by side.
// out = blocks of in through X[i+4] = X[i] ^ L(S(X[i+1] ^ X[i+2] ^ X[i+3] ^ rk[i])), ECB or CBC; shapes as in
// sm4/kernels.hpp: in[16 * blocks], out[16 * blocks], rk[32], iv[16], no alignment, any count of blocks.
// The processor has: AES.
#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "sm4/kernels.hpp"
#include "sm4/kernels/arm_lanes.hpp"
#include "sm4/kernels/basis.hpp"
#include "sm4/kernels/vector_modes.hpp"

namespace ulmaro::sm4 {

namespace {

constexpr basis::NibbleTables table_enter = basis::nibble_tables(basis::enter);
constexpr basis::NibbleTables table_enter_key = basis::nibble_tables(basis::enter_key);
constexpr basis::NibbleTables table_leave = basis::nibble_tables(basis::leave);
constexpr basis::NibbleTables table_sbox = basis::nibble_tables(basis::sbox_after_aes);
constexpr basis::NibbleTables table_f = basis::nibble_tables(basis::after_aes.f);
constexpr basis::NibbleTables table_g = basis::nibble_tables(basis::after_aes.g);
constexpr basis::NibbleTables table_sum = basis::nibble_tables(basis::after_aes.sum);

constexpr basis::Table rotation1 = basis::rotate_words(1);
constexpr basis::Table unshift = basis::unshift_rows_rotate_words(0);
constexpr basis::Table unshift_rotation1 = basis::unshift_rows_rotate_words(1);

struct Aes128 : Lanes128 {
    static Vector map(Vector v, const basis::NibbleTables& m) {
        return add(look_up(m.low, low_nibbles(v)), look_up(m.high, high_nibbles(v)));
    }

    static Vector enter(Vector v) { return map(v, table_enter); }
    static Vector enter_key(Vector v, std::size_t) { return map(v, table_enter_key); }
    static Vector leave(Vector v) { return map(v, table_leave); }
    static Vector rotate1(Vector v) { return shuffle(v, rotation1); }
    static Vector rotate2(Vector v) { return vreinterpretq_u8_u16(vrev32q_u16(vreinterpretq_u16_u8(v))); }

    /// f of S(a + b + key), and g of it rotated by one byte. The instruction adds the key before it inverts.
    static void substitute(Vector a, Vector b, Vector key, Vector& f, Vector& g) {
        const Vector y = vaeseq_u8(add(a, b), key);
        f = shuffle(map(y, table_f), unshift);
        g = shuffle(map(y, table_g), unshift_rotation1);
    }

    // One word per vector: it stands in all four columns, where the row shift changes nothing, and bytes rotate through
    // the whole register.
    template <int word>
    static Vector take_word(Vector v) {
        return vreinterpretq_u8_u32(vdupq_laneq_u32(vreinterpretq_u32_u8(v), word));
    }
    static Vector join_words(Vector a, Vector b, Vector c, Vector d) {
        const uint32x4_t ab = vzip1q_u32(vreinterpretq_u32_u8(a), vreinterpretq_u32_u8(b));
        const uint32x4_t cd = vzip1q_u32(vreinterpretq_u32_u8(c), vreinterpretq_u32_u8(d));
        return vreinterpretq_u8_u64(vzip1q_u64(vreinterpretq_u64_u32(ab), vreinterpretq_u64_u32(cd)));
    }
    /// S of a word in all columns.
    static Vector substitute_word(Vector v) { return map(vaeseq_u8(map(v, table_enter_key), zero()), table_sbox); }

    template <int bytes>
    static Vector rotate_word(Vector v) {
        return vextq_u8(v, v, bytes);
    }

    /// f, g and f + g of S(a + b) for a word.
    static void substitute_in_word(Vector a, Vector b, Vector& f, Vector& g, Vector& sum) {
        const Vector y = vaeseq_u8(a, b);
        f = map(y, table_f);
        g = map(y, table_g);
        sum = map(y, table_sum);
    }
};

}  // namespace

constinit const Kernels arm_aes_kernels = VectorModes<Aes128, Aes128, 4, 4>::named("arm-aes");

}  // namespace ulmaro::sm4
