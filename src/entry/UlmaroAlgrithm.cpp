// The C-linkage entry points of the hash, the key derivation and the cipher: each passes its arguments on to the
// routine that does the work. Checks and conversions belong there, not here. The inputs that the C header promises
// not to write are not const in the symbol names of those routines.
#include "UlmaroAlgrithmInternals.hpp"

namespace {

unsigned char* bytes(const unsigned char* p) { return const_cast<unsigned char*>(p); }
unsigned int* words(const unsigned int* p) { return const_cast<unsigned int*>(p); }

}  // namespace

void SM3_Init(SM3_CTX* ctx) { SM3_Init_ex(ctx); }

void SM3_Update(SM3_CTX* ctx, const unsigned char* in, int len) { SM3_Update_ex(ctx, bytes(in), len); }

void SM3_Final(SM3_CTX* ctx, unsigned char* out) { SM3_Final_ex(ctx, out); }

void SM3_HASH(const unsigned char* in, int len, unsigned char* out) { SM3_HASH_ex(bytes(in), len, out); }

void SM2_KDF_ALGRITRHM(const unsigned char* z, int zLen, int kLen, unsigned char* out) {
    KDF_ALGRITRHM(bytes(z), zLen, kLen, out);
}

int SM4_KEY_INIT(const unsigned char* key, int keyLen, unsigned int* rk, int rkLen) {
    return SMS4_KEY_INIT(key, keyLen, rk, rkLen);
}

void SM4_X_ECB_EN_MODE(const unsigned char* in, int len, const unsigned int* rk, unsigned char* out) {
    SMS4_ECB_EN_MOD(bytes(in), len, words(rk), out);
}

void SM4_X_ECB_DE_MODE(const unsigned char* in, int len, const unsigned int* rk, unsigned char* out) {
    SMS4_ECB_DE_MOD(bytes(in), len, words(rk), out);
}

void SM4_X_CBC_EN_MODE(const unsigned char* in, int len, const unsigned int* rk, const unsigned char* iv,
                       unsigned char* out) {
    SMS4_CBC_EN_MOD(bytes(in), len, words(rk), bytes(iv), out);
}

void SM4_X_CBC_DE_MODE(const unsigned char* in, int len, const unsigned int* rk, const unsigned char* iv,
                       unsigned char* out) {
    SMS4_CBC_DE_MOD(bytes(in), len, words(rk), bytes(iv), out);
}

void SM4_X_CBC_EN_MODE_EX(const unsigned char* in, int len, const unsigned char* key, const unsigned char* iv,
                          unsigned char* out) {
    CBC_EN_MOD_CHAR(bytes(in), len, bytes(key), bytes(iv), out);
}

void SM4_X_CBC_DE_MODE_EX(const unsigned char* in, int len, const unsigned char* key, const unsigned char* iv,
                          unsigned char* out) {
    CBC_DE_MOD_CHAR(bytes(in), len, bytes(key), bytes(iv), out);
}
