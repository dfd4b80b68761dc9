// SM4 key schedule, the single-block routines and CBC over words (GM/T 0002).
#include <algorithm>

#include "UlmaroAlgrithmInternals.hpp"
#include "base/bytes.hpp"
#include "base/wipe.hpp"
#include "sm4/block.hpp"
#include "sm4/kernels/portable.hpp"

using namespace ulmaro;

void KEY_EXPAND(unsigned int* mk, unsigned int* rk) {
    constexpr std::uint32_t FK[4] = {0xa3b1bac6, 0x56aa3350, 0x677d9197, 0xb27022dc};
    Wiped<std::uint32_t[4]> state;
    std::uint32_t* k = state.get();
    for (int i = 0; i < 4; ++i) k[i] = mk[i] ^ FK[i];
    for (unsigned i = 0; i < 32; ++i) {
        k[i % 4] ^= sm4::diffuse_key(sm4::substitute(k[(i + 1) % 4] ^ k[(i + 2) % 4] ^ k[(i + 3) % 4] ^ sm4::CK[i]));
        rk[i] = k[i % 4];
    }
}

int SMS4_KEY_INIT(const unsigned char* key, int keyLen, unsigned int* rk, int rkLen) {
    if (key == nullptr || keyLen < 16 || rk == nullptr || rkLen < ULMARO_SM4_SCHEDULE_WORDS) return -1;
    Wiped<std::uint32_t[4]> mk;
    for (int i = 0; i < 4; ++i) (*mk)[i] = load_be32(key + 4 * i);
    KEY_EXPAND(mk.get(), rk);
    return 1;
}

void ECB_EN_MOD(unsigned int* in, unsigned int* rk, unsigned int* out) { sm4::encrypt_words(in, out, rk); }

void ECB_DE_MOD(unsigned int* in, unsigned int* rk, unsigned int* out) { sm4::decrypt_words(in, out, rk); }

// The vector is read before the length is looked at, and out may be in.
void CBC_EN_MOD(unsigned int* in, int len, unsigned int* rk, unsigned int* iv, unsigned int* out) {
    Wiped<std::uint32_t[4]> chain;
    std::uint32_t* v = chain.get();
    std::copy_n(iv, 4, v);
    for (int left = len; left >= 4; left -= 4, in += 4, out += 4) {
        for (int i = 0; i < 4; ++i) v[i] ^= in[i];
        sm4::encrypt_words(v, v, rk);
        std::copy_n(v, 4, out);
    }
}

void CBC_DE_MOD(unsigned int* in, int len, unsigned int* rk, unsigned int* iv, unsigned int* out) {
    Wiped<std::uint32_t[4]> plain;
    std::uint32_t v[4];
    std::copy_n(iv, 4, v);
    for (int left = len; left >= 4; left -= 4, in += 4, out += 4) {
        sm4::decrypt_words(in, plain.get(), rk);
        for (int i = 0; i < 4; ++i) {
            const std::uint32_t cipher = in[i];
            out[i] = (*plain)[i] ^ v[i];
            v[i] = cipher;
        }
    }
}
