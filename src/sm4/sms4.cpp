// SM4 key schedule, the single-block routines and CBC over words (GM/T 0002).
#include <algorithm>
#include <cstring>

#include "UlmaroAlgrithmInternals.hpp"
#include "base/bytes.hpp"
#include "base/wipe.hpp"
#include "sm4/kernels.hpp"

using namespace ulmaro;

namespace {

/// One block as words; the kernels work on its bytes, big-endian. out may be in.
void run_block(sm4::Kernels::EcbFunction kernel, const unsigned int* in, const unsigned int* rk, unsigned int* out) {
    Wiped<unsigned char[16]> block;
    for (int i = 0; i < 4; ++i) store_be32(block.get() + 4 * i, in[i]);
    kernel(block.get(), block.get(), 1, rk);
    for (int i = 0; i < 4; ++i) out[i] = load_be32(block.get() + 4 * i);
}

void encrypt_words(const unsigned int* in, const unsigned int* rk, unsigned int* out) {
    run_block(sm4::active_kernels().encrypt_blocks, in, rk, out);
}

void decrypt_words(const unsigned int* in, const unsigned int* rk, unsigned int* out) {
    run_block(sm4::active_kernels().decrypt_blocks, in, rk, out);
}

// Covers what a kernel's key set-up spills, and the registers of its caller that it keeps on the stack.
constexpr std::size_t key_stack = 128;

}  // namespace

void KEY_EXPAND(unsigned int* mk, unsigned int* rk) {
    with_wiped_stack(key_stack, [=] { sm4::active_kernels().expand_key(mk, rk); });
}

int SMS4_KEY_INIT(const unsigned char* key, int keyLen, unsigned int* rk, int rkLen) {
    if (key == nullptr || keyLen < 16 || rk == nullptr || rkLen < ULMARO_SM4_SCHEDULE_WORDS) return -1;
    // The words of the key stand where the schedule will, and have no copy to wipe.
    std::memmove(rk, key, 16);
    for (int i = 0; i < 4; ++i) rk[i] = load_be32(reinterpret_cast<const unsigned char*>(rk + i));
    KEY_EXPAND(rk, rk);
    return 1;
}

void ECB_EN_MOD(unsigned int* in, unsigned int* rk, unsigned int* out) { encrypt_words(in, rk, out); }

void ECB_DE_MOD(unsigned int* in, unsigned int* rk, unsigned int* out) { decrypt_words(in, rk, out); }

// iv is read before the length is checked, and out may be in.
void CBC_EN_MOD(unsigned int* in, int len, unsigned int* rk, unsigned int* iv, unsigned int* out) {
    Wiped<std::uint32_t[4]> chain;
    std::uint32_t* v = chain.get();
    std::copy_n(iv, 4, v);
    for (int left = len; left >= 4; left -= 4, in += 4, out += 4) {
        for (int i = 0; i < 4; ++i) v[i] ^= in[i];
        encrypt_words(v, rk, v);
        std::copy_n(v, 4, out);
    }
}

void CBC_DE_MOD(unsigned int* in, int len, unsigned int* rk, unsigned int* iv, unsigned int* out) {
    Wiped<std::uint32_t[4]> plain;
    std::uint32_t v[4];
    std::copy_n(iv, 4, v);
    for (int left = len; left >= 4; left -= 4, in += 4, out += 4) {
        decrypt_words(in, rk, plain.get());
        for (int i = 0; i < 4; ++i) {
            const std::uint32_t cipher = in[i];
            out[i] = (*plain)[i] ^ v[i];
            v[i] = cipher;
        }
    }
}
