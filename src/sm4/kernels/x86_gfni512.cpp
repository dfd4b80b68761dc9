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
    static Vector enter_key(Vector v, std::size_t) {
        return _mm512_gf2p8affine_epi64_epi8(v, _mm512_set1_epi64(matrix_enter), constant_key);
    }
    static Vector leave(Vector v) { return _mm512_gf2p8affine_epi64_epi8(v, _mm512_set1_epi64(matrix_leave), 0); }

    /// L(S(t)) + a + b, or without b, as in Gfni128.
    template <typename... Vectors>
    static Vector changed(Vector t, Vector a, Vectors... b) {
        const Vector sum = _mm512_gf2p8affineinv_epi64_epi8(t, _mm512_set1_epi64(matrix_sum), constant_sum);
        const Vector g = _mm512_gf2p8affineinv_epi64_epi8(t, _mm512_set1_epi64(matrix_g), constant_g);
        const Vector sum1 = _mm512_ror_epi32(sum, 8);
        const Vector sum2 = _mm512_ror_epi32(sum, 16);
        const Vector f = add(sum, g, b...);
        const Vector g3 = _mm512_ror_epi32(g, 24);
        return add(add(sum1, sum2, a), f, g3);
    }
};

}  // namespace

constinit const Kernels x86_gfni512_kernels = VectorModes<Gfni512, Gfni128, 4, 4, true, Gfni512>::named("x86-gfni512");

}  // namespace ulmaro::sm4
