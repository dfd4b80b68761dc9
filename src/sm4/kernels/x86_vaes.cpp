// SM4 with VAES: 64 blocks side by side in 256-bit vectors.
// out = blocks of in through X[i+4] = X[i] ^ L(S(X[i+1] ^ X[i+2] ^ X[i+3] ^ rk[i])), ECB or CBC; shapes as in
// sm4/kernels.hpp: in[16 * blocks], out[16 * blocks], rk[32], iv[16], no alignment, any count of blocks.
// The processor has: AES, AVX2, VAES.
#include "sm4/kernels.hpp"
#include "sm4/kernels/vector_modes.hpp"
#include "sm4/kernels/x86_aes.hpp"

namespace ulmaro::sm4 {

constinit const Kernels x86_vaes_kernels = VectorModes<Aes256, Aes128, 8, 2>::named("x86-vaes");

}  // namespace ulmaro::sm4
