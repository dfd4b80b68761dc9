/**
 * @file UlmaroAlgrithmInternals.hpp
 * @brief The typed internal routines that the library exports under their own (C++) names.
 *
 * The argument types determine the symbol names, so they are fixed: inputs are not `const` where the symbol has none.
 * The rules for ownership, byte order, exceptions and threads are those of UlmaroAlgrithm.h. New code should prefer the
 * C entry points; these are for applications that already use them.
 */
#pragma once

#include "UlmaroAlgrithm.h"

/**
 * @name SM3 (GM/T 0004)
 * @{
 */
/** What SM3_Init() forwards to. */
void SM3_Init_ex(SM3_CTX* ctx);
/** What SM3_Update() forwards to. */
void SM3_Update_ex(SM3_CTX* ctx, unsigned char* in, int len);
/** What SM3_Final() forwards to. */
void SM3_Final_ex(SM3_CTX* ctx, unsigned char* out);
/** What SM3_HASH() forwards to. */
void SM3_HASH_ex(unsigned char* in, int len, unsigned char* out);

/** Compresses one block, given as 16 words read in big-endian order, into ctx->V. */
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
/** Enciphers one block of 4 words, read in big-endian order; out may be in. */
void ECB_EN_MOD(unsigned int* in, unsigned int* rk, unsigned int* out);
/** Deciphers one block of 4 words, read in big-endian order; out may be in. */
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

/**
 * @name Word-array numbers
 * Unsigned numbers of 32-bit words, least significant first, with a separate count `top` of the words in use. A count
 * is normalised when its top word is not zero; zero has count 0. Words from `top` on are neither read nor written
 * unless stated otherwise. A number buffer has 10 words (8 of value, 2 spare); a product buffer has 18.
 *
 * Nothing is allocated, kept or reported. Sizes are taken on trust. Output counts are written through `r_top`.
 * "r may be a" means the same address; no other overlap is allowed. Threads: re-entrant.
 * This library's own arithmetic interface; Montgomery's method is that of Math. Comp. 44 (1985) 519.
 * @{
 */

/** r[num] = a[num] + b[num]; returns the carry, 0 or 1. num < 1: returns 0, writes nothing. r may be a or b. */
unsigned int bn_add_words(unsigned int* r, const unsigned int* a, const unsigned int* b, int num);
/** r[num] = a[num] - b[num]; returns the borrow, 0 or 1. num < 1: returns 0, writes nothing. r may be a or b. */
unsigned int bn_sub_words(unsigned int* r, const unsigned int* a, const unsigned int* b, int num);
/** r[num] = a[num] * w; returns the carry word. num < 1: returns 0, writes nothing. r may be a. */
unsigned int bn_mul_words(unsigned int* r, const unsigned int* a, int num, unsigned int w);
/** r[num] += a[num] * w; returns the carry word. num < 1: returns 0, writes nothing. r may be a. */
unsigned int bn_mul_add_words(unsigned int* r, const unsigned int* a, int num, unsigned int w);
/** floor((h * 2^32 + l) / d) for h < d; 0xFFFFFFFF for d = 0; no quotient for h >= d. */
unsigned int bn_div_words(unsigned int h, unsigned int l, unsigned int d);

/**
 * r = a + b; returns 1. max(a_top, b_top) words are written, and a word 1 above them when the sum carries; *r_top
 * counts what was written. r may be a or b.
 */
int BN_uadd(unsigned int* r, int* r_top, unsigned int* a, int a_top, unsigned int* b, int b_top);
/**
 * r = a - b for a >= b and a_top >= b_top; returns 1. a_top words are written, *r_top is normalised. A smaller a wraps
 * modulo 2^(32 a_top) silently. r may be a or b.
 */
int BN_usub(unsigned int* r, int* r_top, unsigned int* a, int a_top, unsigned int* b, int b_top);

/** r[na + nb] = a[na] * b[nb], all words written; na, nb >= 1. r overlaps neither. */
void BN_mul_nomal(unsigned int* r, unsigned int* a, int na, unsigned int* b, int nb);
/** r = a * b, a_top + b_top words written, *r_top normalised; a count of 0 writes only *r_top = 0. r overlaps neither.
 */
void BN_mul(unsigned int* r, int* r_top, unsigned int* a, int a_top, unsigned int* b, int b_top);

/** r = a * 2^n for n >= 0 bits; returns 1. a_top + n / 32 + 1 words are written, *r_top is normalised. r may be a. */
int BN_lshift(unsigned int* r, int* r_top, unsigned int* a, int a_top, int n);
/**
 * r = floor(a / 2^n) for n >= 0 bits, in a buffer of 10 words; *r_top is normalised. Returns 1; 0 when n / 32 exceeds
 * a_top or a_top is 0, and then the 10 words are zero. Otherwise a_top - n / 32 words are written and a zero word above
 * them. When n is a multiple of 32 the word a[a_top] is read too and stored between the result and the zero word.
 * Words above a number are read and written inside its buffer only: 10 words, 18 for a number of 11 to 18, and none
 * above a longer one. r may be a.
 */
int BN_rshift(unsigned int* r, int* r_top, unsigned int* a, int a_top, int n);
/**
 * r = floor(a / 2). a_top words are written; *r_top is a_top, or one less when the top word became zero. For a_top = 0
 * all 10 words become zero. r may be a.
 */
void BN_rshift1(bignum_st* r, int* r_top, bignum_st* a, int a_top);

/**
 * a_top - b_top where the counts differ, otherwise 1, 0 or -1 as a >, =, < b. Numeric when both counts are normalised
 * or equal. Time: constant in the words.
 */
int BN_ucmp(unsigned int* a, int a_top, unsigned int* b, int b_top);
/** 1 when all n words are zero, else 0. Time: constant in the words. */
int BN_is_zero(unsigned int* a, unsigned int n);
/** 1 when the n >= 1 words hold the number 1, else 0. Time: constant in the words. */
int BN_is_one(unsigned int* a, unsigned int n);
/** 1 when any of the n word pairs DIFFER, 0 when all are equal or n < 1. Time: constant in the words. */
int two_number_same(unsigned int* a, int n, unsigned int* b);
/** Lowers *top while the word below it is zero. */
void bn_fix_top(unsigned int* a, int* top);
/** Bit length of a word; 0 for 0. */
int BN_num_bits_word(unsigned int w);
/** Bit length of a number; leading zero words do not count. */
int BN_num_bits(unsigned int* a, int a_top);

/**
 * Division: dv = floor(num / d), rm = num mod d. dv and dv_top may be null, rm and rm_top both may be null; dv or rm
 * may be num or d. num has at most 129 words and is normalised or as long as d; d has at most 64 words.
 *
 * Where num is below d by BN_ucmp(): dv is not written and *dv_top = 0; rm gets the num_top words of num, zeros up to
 * d_top, and *rm_top = num_top as passed. Otherwise both counts are normalised and exactly *dv_top words of dv are
 * written. In rm one zero word follows the remainder, and a second one where the bit length of d is a multiple of 32 (a
 * remainder of 0 then zeroes all 10 words), or where the top word of the remainder has more bits than that of d. Zero
 * words stay inside a buffer of 10 words, of 18 for a d_top of 11 to 18, of d_top words for a longer one. Words above
 * them keep their contents: clear rm before reading it at a fixed count. For d = 0, or longer operands: both counts 0,
 * no words written. Time: depends on the numbers.
 */
void BN_div(unsigned int* dv, int* dv_top, unsigned int* rm, int* rm_top, unsigned int* num, int num_top,
            unsigned int* d, int d_top);
/**
 * r = a^-1 mod n, below n: n_top words are written, *r_top is normalised. a may be n or more; a and n have at most 8
 * words. When there is no inverse (a shares a divisor with n, a = 0, n = 0): *r_top = 0 and 8 words of r are zero.
 * r may be a or n. Time: depends on the numbers.
 */
void BN_mod_inverse(unsigned int* r, int* r_top, unsigned int* a, int a_top, unsigned int* n, int n_top);

/**
 * r = (a + b) mod m by at most one subtraction of m; a, b, m have len words. The word r[len] is needed: it is written
 * when a + b carries out of len words, and is 0 afterwards for a, b < m. r may be a or b. Time: constant in the words.
 */
void BN_mod_add(unsigned int* r, unsigned int* a, unsigned int* b, unsigned int* m, int len);
/**
 * r[len] = (a - b) mod m for a, b < m. *r_top is len when a < b, else normalised: 0 means a = b. r may be a or b.
 * Time: constant in the words, except for the count.
 */
void BN_mod_sub(unsigned int* r, int* r_top, unsigned int* a, unsigned int* b, unsigned int* m, int len);
/** r[len] = 2 a mod m for a < m. r may be a. Time: constant in the words. */
void BN_mod_lshift1(unsigned int* r, unsigned int* a, unsigned int* m, int len);

/**
 * Montgomery constants of an odd m[len], len <= 8: *nprime_out = -m^-1 mod 2^32; rr_out = R^2 mod m with R = 2^(32
 * len), written at its normalised length, with the zeros above it that BN_div() writes, but none beyond len words:
 * clear those first. An even m has none: *nprime_out and the len words of rr_out are zero.
 */
void BN_MONT_CTX_set(unsigned int* m, int len, unsigned int* nprime_out, unsigned int* rr_out);
/**
 * r[len] = a b R^-1 mod m for a, b < m, m odd, len <= 8, nprime from BN_MONT_CTX_set(). r may be a or b. With RR as b
 * it brings a into Montgomery form. Time: constant in the words.
 */
void BN_mod_mul_montgomery(unsigned int* r, unsigned int* a, unsigned int* b, unsigned int* m, int len,
                           unsigned int nprime);
/** r[len] = a R^-1 mod m: leaves Montgomery form. Otherwise as BN_mod_mul_montgomery(). */
void BN_mod_mul_montgomery_one(unsigned int* r, unsigned int* a, unsigned int* m, int len, unsigned int nprime);
/** @} */

/**
 * @name Byte order
 * @{
 */

/** Reverses buf[len] in place. */
void Exchange(unsigned char* buf, unsigned int len);
/**
 * In place: when mode is 0, reverses all of buf[len] first; then reverses every unit of 4 bytes, and the len mod 4
 * bytes of an incomplete last one. For whole units, mode 0 thus reverses the order of the units, any other mode the
 * bytes within each.
 */
void Exchange_DWORD(unsigned char* buf, unsigned int len, int mode);
/** dst[len] = src[len] reversed; returns dst. len < 1 copies nothing. The two do not overlap. */
unsigned char* sm2_copy(unsigned char* dst, unsigned char* src, int len);
/** @} */

/**
 * @name Curve groups and points
 * Points are in Jacobian coordinates in Montgomery form, and reduced. Records are read and written only where stated; a
 * result may be the same record as an operand, but no other overlap is allowed. Nothing is validated. Threads:
 * re-entrant, except for the random source. Time: depends on the scalars, unless stated otherwise.
 * @{
 */

/** What SM2_ECC_InitParameter() forwards to. */
int ECC_InitParameter(ECCParameter_st* param, ec_group_st* grp) ULMARO_OWN_NAME(ECC_InitParameter);

/** 1 when Z is zero over prime_top words, else 0. Time: constant in the words. */
int ec_GFp_simple_is_at_infinity(ec_group_st* grp, ec_point_st* P);
/** r = 2a. For infinity only Z and z_is_one of r are written (zero). */
void ec_GFp_simple_dbl(ec_group_st* grp, ec_point_st* r, ec_point_st* a);
/**
 * r = a + b. When one of them is infinity, r is an exact copy of the other. When they are each other's inverse, only Z
 * and z_is_one of r are written (zero).
 */
void ec_GFp_simple_add(ec_group_st* grp, ec_point_st* r, ec_point_st* a, ec_point_st* b);
/** x, y = the affine coordinates, plain, words 8 and 9 zero. (0, 0) for infinity. */
void ec_GFp_simple_point_get_affine_coordinates_GFp(ec_group_st* grp, ec_point_st* P, bignum_st* x, bignum_st* y);

/**
 * The width-w non-adjacent form of words 0..len-1 of scalar, for w in 1..7 and len up to 10 (others are clamped to
 * these ranges): digits that are zero, or odd and below 2^w in magnitude, least significant first, any two non-zero
 * ones more than w places apart. *outLen counts them up to the last non-zero one, at most bit length + 1.
 * @return the digits, from malloc(): the caller frees them. Null with *outLen = 0 when there is no memory.
 */
signed char* compute_wNAF(bignum_st* scalar, int w, int len, int* outLen);
/**
 * r = [k]P + [l]Q, or [k]P when l is null (Q is not read then). The scalars have order_top words and are not reduced.
 * When all digits of the scalars are zero, r is NOT written: set it to infinity first. Allocates nothing.
 */
void EC_POINTs_mul(ec_group_st* grp, ec_point_st* r, ec_point_st* P, bignum_st* k, ec_point_st* Q, bignum_st* l);
/** @} */

/**
 * @name Key pairs
 * @{
 */

/** What SM2_ECC_GenerateKeyPair() forwards to. */
int ECC_GenerateKeyPair(ec_group_st* grp, ECC_PUBLIC_KEY* pubKey, ECC_PRIVATE_KEY* priKey)
    ULMARO_OWN_NAME(ECC_GenerateKeyPair);
/** SM2_CalcPubKeyByPriKey() on any prepared group. The scalar is neither reduced nor checked. Returns 0. */
int ECC_CalcPubKeyByPriKey(ec_group_st* grp, ECC_PUBLIC_KEY* pubKey, const bignum_st* priKey);
/** What SM2_POINT_is_on_curve() forwards to. */
ULMARO_MUST_USE int POINT_is_on_curve(ECCParameter_st* param, ECC_PUBLIC_KEY* pubKey);
/**
 * A key pair on ::group, which the application has prepared: pub_out[64] = x || y, priv_out[32] = d. The first argument
 * is not read. Prints "\n" on standard output. Returns 0.
 */
int ECC_ProduceKey(int ignored, unsigned char* pub_out, unsigned char* priv_out) ULMARO_OWN_NAME(ECC_ProduceKey);
/** @} */

/**
 * @name Signature and encryption (GM/T 0003)
 * @{
 */

/** What SM2_ECDSA_Signature() forwards to. */
int ECDSA_Signature(ec_group_st* grp, unsigned char* e, ECC_PRIVATE_KEY* key, ECC_SIGNATURE* signature)
    ULMARO_OWN_NAME(ECDSA_Signature);
/** What SM2_ECDSA_Verification() forwards to. */
ULMARO_MUST_USE int ECDSA_Verification(ec_group_st* grp, unsigned char* e, ECC_PUBLIC_KEY* key,
                                       ECC_SIGNATURE* signature);
/** What SM2_ECES_Encryption() forwards to. */
int ECES_Encryption(ec_group_st* grp, unsigned char* msg, int msgLen, ECC_PUBLIC_KEY* pubKey,
                    Ulmaro_ECC_CIPHER_BLOB* blob) ULMARO_OWN_NAME(ECES_Encryption);
/** What SM2_ECES_Decryption() forwards to. */
ULMARO_MUST_USE int ECES_Decryption(ec_group_st* grp, Ulmaro_ECC_CIPHER_BLOB* blob, ECC_PRIVATE_KEY* priKey,
                                    unsigned char* plain);
/** @} */
