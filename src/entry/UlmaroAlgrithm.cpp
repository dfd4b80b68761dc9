// The C-linkage entry points of the hash and the key derivation: each hands its arguments on to the
// routine that does the work. Checks and conversions belong there, not here. The inputs that the C header promises
// not to write are not const in the symbol names of those routines.
#include "UlmaroAlgrithmInternals.hpp"

namespace {

unsigned char* bytes(const unsigned char* p) { return const_cast<unsigned char*>(p); }

}  // namespace

void SM3_Init(SM3_CTX* ctx) { SM3_Init_ex(ctx); }

void SM3_Update(SM3_CTX* ctx, const unsigned char* in, int len) { SM3_Update_ex(ctx, bytes(in), len); }

void SM3_Final(SM3_CTX* ctx, unsigned char* out) { SM3_Final_ex(ctx, out); }

void SM3_HASH(const unsigned char* in, int len, unsigned char* out) { SM3_HASH_ex(bytes(in), len, out); }

void SM2_KDF_ALGRITRHM(const unsigned char* z, int zLen, int kLen, unsigned char* out) {
    KDF_ALGRITRHM(bytes(z), zLen, kLen, out);
}
