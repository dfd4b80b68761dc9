// SM4 with GFNI and AVX-512: 64 blocks side by side in 512-bit vectors.
// out = blocks of in through X[i+4] = X[i] ^ L(S(X[i+1] ^ X[i+2] ^ X[i+3] ^ rk[i])), ECB or CBC; shapes as in
// sm4/kernels.hpp: in[16 * blocks], out[16 * blocks], rk[32], iv[16], no alignment, any count of blocks.
// The processor has: GFNI, AVX-512 F, BW, VL, DQ.
#include "sm4/kernels.hpp"
#include "sm4/kernels/vector_modes.hpp"
#include "sm4/kernels/x86_gfni.hpp"

namespace ulmaro::sm4 {

namespace {

struct Gfni512 : Lanes512 {
    static Vector enter(Vector v) { return _mm512_gf2p8affine_epi64_epi8(v, _mm512_set1_epi64(matrix_enter), 0); }
    static Vector leave(Vector v) { return _mm512_gf2p8affine_epi64_epi8(v, _mm512_set1_epi64(matrix_leave), 0); }
    static Vector rotate1(Vector v) { return _mm512_ror_epi32(v, 8); }
    static Vector rotate2(Vector v) { return _mm512_ror_epi32(v, 16); }

    static void substitute(Vector a, Vector b, Vector key, Vector& f, Vector& g) {
        const Vector sum = add(a, b, key);
        f = _mm512_gf2p8affineinv_epi64_epi8(sum, _mm512_set1_epi64(matrix_f), constant_f);
        g = rotate1(_mm512_gf2p8affineinv_epi64_epi8(sum, _mm512_set1_epi64(matrix_g), constant_g));
    }

    /// v + L(S(t)), with not every rotation on the port of the inversions.
    static Vector word_round(Vector t, Vector v) {
        const Vector g = _mm512_gf2p8affineinv_epi64_epi8(t, _mm512_set1_epi64(matrix_g), constant_g);
        const Vector sum = _mm512_gf2p8affineinv_epi64_epi8(t, _mm512_set1_epi64(matrix_sum), constant_sum);
        return add(add(shuffle(sum, rotation1), rotate2(sum), shuffle(g, rotation3)), add(v, g), sum);
    }
    static Vector shuffle(Vector v, const basis::Table& from) {
        return _mm512_shuffle_epi8(v, _mm512_broadcast_i32x4(Lanes128::load_aligned(from.byte)));
    }
    static constexpr basis::Table rotation1 = basis::rotate_words(1);
    static constexpr basis::Table rotation3 = basis::rotate_words(3);
};

}  // namespace

constinit const Kernels x86_gfni512_kernels = VectorModes<Gfni512, Gfni128, 4, 4, true>::named("x86-gfni512");

}  // namespace ulmaro::sm4
