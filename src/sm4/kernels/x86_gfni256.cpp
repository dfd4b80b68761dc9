// SM4 with GFNI and AVX2: 64 blocks side by side in 256-bit vectors.
// out = blocks of in through X[i+4] = X[i] ^ L(S(X[i+1] ^ X[i+2] ^ X[i+3] ^ rk[i])), ECB or CBC; shapes as in
// sm4/kernels.hpp: in[16 * blocks], out[16 * blocks], rk[32], iv[16], no alignment, any count of blocks.
// The processor has: GFNI, AVX2.
#include "sm4/kernels.hpp"
#include "sm4/kernels/vector_modes.hpp"
#include "sm4/kernels/x86_gfni.hpp"

namespace ulmaro::sm4 {

namespace {

struct Gfni256 : Lanes256 {
    static Vector enter(Vector v) { return _mm256_gf2p8affine_epi64_epi8(v, _mm256_set1_epi64x(matrix_enter), 0); }
    static Vector leave(Vector v) { return _mm256_gf2p8affine_epi64_epi8(v, _mm256_set1_epi64x(matrix_leave), 0); }
    static Vector rotate1(Vector v) { return shuffle(v, rotation1); }
    static Vector rotate2(Vector v) { return shuffle(v, rotation2); }

    static void substitute(Vector a, Vector b, Vector key, Vector& f, Vector& g) {
        const Vector sum = add(a, b, key);
        f = _mm256_gf2p8affineinv_epi64_epi8(sum, _mm256_set1_epi64x(matrix_f), constant_f);
        g = rotate1(_mm256_gf2p8affineinv_epi64_epi8(sum, _mm256_set1_epi64x(matrix_g), constant_g));
    }

    static constexpr basis::Table rotation1 = basis::rotate_words(1);
    static constexpr basis::Table rotation2 = basis::rotate_words(2);
};

}  // namespace

constinit const Kernels x86_gfni256_kernels = VectorModes<Gfni256, Gfni128, 8, 2>::named("x86-gfni256");

}  // namespace ulmaro::sm4
