// SM4 with SSSE3 alone: 32 blocks side by side in 128-bit vectors, the S-box from byte shuffles.
// out = blocks of in through X[i+4] = X[i] ^ L(S(X[i+1] ^ X[i+2] ^ X[i+3] ^ rk[i])), ECB or CBC; shapes as in
// sm4/kernels.hpp: in[16 * blocks], out[16 * blocks], rk[32], iv[16], no alignment, any count of blocks.
// The processor has: SSSE3.
#include "sm4/kernels.hpp"
#include "sm4/kernels/nibbles.hpp"
#include "sm4/kernels/vector_modes.hpp"
#include "sm4/kernels/x86_lanes.hpp"

namespace ulmaro::sm4 {

namespace {

struct ShuffleLanes : Lanes128 {
    static Vector look_up(const basis::Table& table, Vector index) { return _mm_shuffle_epi8(repeat(table), index); }
    static Vector low_nibbles(Vector v) { return _mm_and_si128(v, _mm_set1_epi8(15)); }
    static Vector high_nibbles(Vector v) { return low_nibbles(_mm_srli_epi32(v, 4)); }
    /// The bytes beside those of the word are zero.
    static Vector high_nibbles_in_word(Vector v) { return _mm_srli_epi32(v, 4); }
    static Vector fill(std::uint8_t byte) { return _mm_set1_epi8(static_cast<char>(byte)); }
    static Vector rotate1(Vector v) { return shuffle(v, rotation1); }
    static Vector rotate2(Vector v) { return shuffle(v, rotation2); }

    static constexpr basis::Table rotation1 = basis::rotate_words(1);
    static constexpr basis::Table rotation2 = basis::rotate_words(2);
};

using Shuffles = Nibbles<ShuffleLanes>;

}  // namespace

constinit const Kernels x86_ssse3_kernels = VectorModes<Shuffles, Shuffles, 8, 2>::named("x86-ssse3");

}  // namespace ulmaro::sm4
