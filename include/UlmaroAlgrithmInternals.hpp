/**
 * @file UlmaroAlgrithmInternals.hpp
 * @brief The typed internal routines that the library exports under their own (C++) names.
 *
 * The argument types make the symbol names, so they are fixed: inputs are not `const` where the symbol has none.
 * Rules of ownership, byte order, exceptions and threads are those of UlmaroAlgrithm.h. New code should prefer the
 * C entry points; these are here for applications that already use them.
 */
#pragma once

#include "UlmaroAlgrithm.h"

/**
 * @name SM3 (GM/T 0004)
 * The four `_ex` routines are what SM3_Init(), SM3_Update(), SM3_Final() and SM3_HASH() forward to.
 * @{
 */
void SM3_Init_ex(SM3_CTX* ctx);
void SM3_Update_ex(SM3_CTX* ctx, unsigned char* in, int len);
void SM3_Final_ex(SM3_CTX* ctx, unsigned char* out);
void SM3_HASH_ex(unsigned char* in, int len, unsigned char* out);

/** Compresses one block, given as 16 words (the big-endian readings of its bytes), into ctx->V. */
void SM3_OPERAAT(SM3_CTX* ctx, unsigned int* w);

/**
 * The 64 rounds and the feed-forward (GM/T 0004 clause 5.3.3): vout[8] = CF(vin[8]) for the expanded words
 * wexp[68] and wprime[64], with the round constants of ctx->T. w is ignored. vout may be vin.
 */
void CF_FUNCTION(SM3_CTX* ctx, unsigned int* w, unsigned int* vin, unsigned int* wexp, unsigned int* wprime,
                 unsigned int* vout);

/** What SM2_KDF_ALGRITRHM() forwards to. */
void KDF_ALGRITRHM(unsigned char* z, int zLen, int kLen, unsigned char* out);
/** @} */

/**
 * @name SM4 (GM/T 0002)
 * @{
 */

/** rk[32] from the key words mk[4]; mk is read before rk is written. */
void KEY_EXPAND(unsigned int* mk, unsigned int* rk);
/** Enciphers one block of 4 words (big-endian readings); out may be in. */
void ECB_EN_MOD(unsigned int* in, unsigned int* rk, unsigned int* out);
/** Deciphers one block of 4 words (big-endian readings); out may be in. */
void ECB_DE_MOD(unsigned int* in, unsigned int* rk, unsigned int* out);

/**
 * CBC over words: 4 * (len / 4) words of out are written, nothing for len below 4. len counts words. iv[4] is read
 * whatever the length and never written. out may be in; no other overlap. Allocates nothing.
 */
void CBC_EN_MOD(unsigned int* in, int len, unsigned int* rk, unsigned int* iv, unsigned int* out);
/** CBC decryption over words; otherwise as CBC_EN_MOD(). */
void CBC_DE_MOD(unsigned int* in, int len, unsigned int* rk, unsigned int* iv, unsigned int* out);

/** What SM4_KEY_INIT() forwards to. */
int SMS4_KEY_INIT(const unsigned char* key, int keyLen, unsigned int* rk, int rkLen);
/** What SM4_X_ECB_EN_MODE() forwards to. */
void SMS4_ECB_EN_MOD(unsigned char* in, int len, unsigned int* rk, unsigned char* out);
/** What SM4_X_ECB_DE_MODE() forwards to. */
void SMS4_ECB_DE_MOD(unsigned char* in, int len, unsigned int* rk, unsigned char* out);
/** What SM4_X_CBC_EN_MODE() forwards to. */
void SMS4_CBC_EN_MOD(unsigned char* in, int len, unsigned int* rk, unsigned char* iv, unsigned char* out);
/** What SM4_X_CBC_DE_MODE() forwards to. */
void SMS4_CBC_DE_MOD(unsigned char* in, int len, unsigned int* rk, unsigned char* iv, unsigned char* out);
/** What SM4_X_CBC_EN_MODE_EX() forwards to. */
void CBC_EN_MOD_CHAR(unsigned char* in, int len, unsigned char* key, unsigned char* iv, unsigned char* out);
/** What SM4_X_CBC_DE_MODE_EX() forwards to. */
void CBC_DE_MOD_CHAR(unsigned char* in, int len, unsigned char* key, unsigned char* iv, unsigned char* out);
/** @} */
