/**
 * @file UlmaroAlgrithm.h
 * @brief SM2, SM3, SM4 and the SM1 placeholder family behind a flat C interface.
 *
 * Plain C and C++. Every entry point is a free function with C linkage; every record is a plain byte or
 * word layout that the caller owns. The library keeps no handles.
 *
 * Rules that hold for every declaration below unless it says otherwise:
 *
 * - **Two libraries** have these names. `libUlmaroAlgrithmHardened.so` draws keys and ephemeral scalars from the
 *   kernel and never touches the C library's `rand`: use it for everything new. `libUlmaroAlgrithm.so` draws them from
 *   `rand`, which it seeds with the time in seconds at every group preparation, so that others can compute them: it is
 *   for applications that must see the same random sequence as before. Compile with the flags of the library's
 *   pkg-config file or CMake target. Those of the hardened one define `ULMARO_HARDENED`; functions that draw or prepare
 *   a group then have names ending in `_Hardened` in the object file, which only that library has. Without it, or
 *   without this header, in a process with both libraries, the calls go to the one that the loader finds first,
 *   whichever was linked.
 * - **Byte order.** Byte strings (numbers, coordinates, digests, keys, blocks) are big-endian. Records made of
 *   words (`bignum_st`, the SM4 schedule) hold native unsigned integers, least significant word first for numbers.
 * - **Ownership.** All memory is the caller's. Nothing is kept after a call returns, except what
 *   SM2_Set_Custom_Paramter() copies into the registry and, with the plain library, the seed of `rand`.
 * - **Pointers** must be valid for the stated sizes; null is refused only where stated.
 * - **Exceptions.** A refused length raises `std::bad_array_new_length`, and a failure to allocate scratch memory
 *   `std::bad_alloc`. No other exception leaves the library. A caller written in C cannot catch them: the process ends.
 * - **Threads.** Every routine is re-entrant on distinct objects. The custom-curve registry, ::group and, with the
 *   plain library, `rand` are shared and unguarded: serialise their use.
 * - **Stack.** No call uses more than 12 KiB, so that all of them run in a thread with a stack of 16 KiB.
 *
 * The names, argument orders and spellings are fixed: applications look them up by name.
 */
#ifndef ULMARO_ALGRITHM_H
#define ULMARO_ALGRITHM_H

/** @brief After a declaration: the name that only the hardened library has, in programs that are built for it. */
#ifdef ULMARO_HARDENED
#define ULMARO_OWN_NAME(name) __asm__(#name "_Hardened")
#else
#define ULMARO_OWN_NAME(name)
#endif

/**
 * @brief Before a declaration: the compiler warns when the result is ignored.
 *
 * Marks the functions that answer "is this valid", and only these: a caller that ignores the answer has not checked. A
 * program for which the warning is an error can define the macro as empty.
 */
#ifndef ULMARO_MUST_USE
#if defined(__cplusplus) && __cplusplus >= 201703L
#define ULMARO_MUST_USE [[nodiscard]]
#elif defined(__GNUC__)
#define ULMARO_MUST_USE __attribute__((__warn_unused_result__))
#else
#define ULMARO_MUST_USE
#endif
#endif

/**
 * @defgroup version Version
 * @brief The version of this header, by the rules of semantic versioning.
 *
 * The library's own version is not a symbol, because the list of symbols never changes: the package, the pkg-config
 * file, the CMake package and `ulmaro --version` give it.
 * @{
 */
#define ULMARO_ALGRITHM_VERSION_MAJOR 1 /**< changes of the source interface or the tool that need attention */
#define ULMARO_ALGRITHM_VERSION_MINOR 0 /**< additions */
#define ULMARO_ALGRITHM_VERSION_PATCH 0 /**< corrections */
#define ULMARO_ALGRITHM_VERSION "1.0.0" /**< the three as text, separated by dots */
/** @} */

#ifdef __cplusplus
extern "C" {
#endif

/**
 * @defgroup records Records
 * @brief Layouts that cross the interface. None has padding inside.
 * @{
 */

/**
 * @brief Domain parameters of a curve y^2 = x^3 + a x + b over GF(p); 192 bytes.
 *
 * Six integers of 32 bytes each, big-endian, no length fields. Source: GM/T 0003.1 clause 5, GM/T 0003.5.
 */
typedef struct ECCParameter_st {
    unsigned char p[32];  /**< prime modulus of the field, offset 0 */
    unsigned char a[32];  /**< coefficient a, offset 32 */
    unsigned char b[32];  /**< coefficient b, offset 64 */
    unsigned char Gx[32]; /**< x coordinate of the base point, offset 96 */
    unsigned char Gy[32]; /**< y coordinate of the base point, offset 128 */
    unsigned char n[32];  /**< order of the base point, offset 160 */
} ECCParameter_st;

/**
 * @brief State of one SM3 stream; 360 bytes, allocated by the caller, meaningful after SM3_Init().
 *
 * The constants in `T` are written by SM3_Init() and must not be changed.
 */
typedef struct SM3_CTX {
    int num;                 /**< message bytes waiting in `block`, 0 to 63 */
    unsigned int V[8];       /**< chaining value, standard order A..H, native words */
    unsigned int T[64];      /**< round constants T_0..T_63, not rotated */
    unsigned char block[64]; /**< pending bytes in 0..num-1, zero from `num` on */
    unsigned int total_len;  /**< bytes absorbed since SM3_Init(), modulo 2^32 */
} SM3_CTX;

/** @brief Unsigned number of up to 320 bits; 40 bytes. Word 0 is least significant; 256-bit values use words 0..7. */
typedef struct bignum_st {
    unsigned int words[10]; /**< native words, least significant first; words 8 and 9 are spare */
} bignum_st;

/** @brief Point (X/Z^2, Y/Z^3) in Jacobian coordinates, Montgomery form; 124 bytes. Z = 0 is the point at infinity. */
typedef struct ec_point_st {
    bignum_st X;  /**< X, Montgomery form */
    bignum_st Y;  /**< Y, Montgomery form */
    bignum_st Z;  /**< Z, Montgomery form */
    int z_is_one; /**< non-zero when Z is known to be one */
} ec_point_st;

/** @brief A curve prepared by SM2_ECC_InitParameter(); 416 bytes. Read-only for every other routine. */
typedef struct ec_group_st {
    bignum_st prime;       /**< p, plain */
    int prime_top;         /**< words of p in use */
    bignum_st a_mont;      /**< a, Montgomery form */
    bignum_st b_mont;      /**< b, Montgomery form */
    ec_point_st generator; /**< base point, Montgomery form, z_is_one = 1 */
    bignum_st order;       /**< n, plain */
    int order_top;         /**< words of n in use */
    unsigned int rr[20];   /**< R^2 mod p with R = 2^(32 prime_top), in the first prime_top words */
    unsigned int nprime;   /**< -p^-1 mod 2^32 */
    bignum_st mont_one;    /**< R mod p */
} ec_group_st;

/** @brief Affine public point; 64 bytes, both coordinates big-endian. Source: GM/T 0009 clause 7.1. */
typedef struct ECC_PUBLIC_KEY {
    unsigned char x[32]; /**< x coordinate */
    unsigned char y[32]; /**< y coordinate */
} ECC_PUBLIC_KEY;

/** @brief Private scalar d; 32 bytes, big-endian. Source: GM/T 0009 clause 7.1. */
typedef struct ECC_PRIVATE_KEY {
    unsigned char d[32]; /**< 1 <= d <= n - 2 */
} ECC_PRIVATE_KEY;

/** @brief Signature (r, s); 64 bytes, both halves big-endian with leading zero bytes kept. */
typedef struct ECC_SIGNATURE {
    unsigned char r[32]; /**< first half */
    unsigned char s[32]; /**< second half */
} ECC_SIGNATURE;

/**
 * @brief SM2 ciphertext: C1, C3, length, C2; 100 + L bytes for a message of L bytes.
 *
 * `sizeof` is 100. The record may start at any address; `cipher_len` is in the machine's byte order
 * (little-endian on every supported platform). The first 64 bytes have the layout of ::ECC_PUBLIC_KEY.
 */
#if defined(__cplusplus) && defined(__clang__)
#pragma clang diagnostic push
#pragma clang diagnostic ignored "-Wc99-extensions"
#endif
typedef struct Ulmaro_ECC_CIPHER_BLOB {
    unsigned char x[32];                  /**< x coordinate of C1, offset 0 */
    unsigned char y[32];                  /**< y coordinate of C1, offset 32 */
    unsigned char hash[32];               /**< C3 = SM3(x2 || M || y2), offset 64 */
    unsigned int cipher_len;              /**< L in bytes, offset 96 */
    __extension__ unsigned char cipher[]; /**< C2, L bytes, offset 100 */
} Ulmaro_ECC_CIPHER_BLOB;
#if defined(__cplusplus) && defined(__clang__)
#pragma clang diagnostic pop
#endif

/** @} */

/**
 * @defgroup curve Curve parameters
 * @{
 */

/**
 * @name Custom-curve registry
 * @brief One curve for the whole process, 32 bytes big-endian each; all zero at load.
 *
 * Written by SM2_Set_Custom_Paramter(), read by SM2_Get_Paramter() with type 7. Not guarded by a lock.
 * @{
 */
extern unsigned char g_p_256[32];  /**< prime modulus p */
extern unsigned char g_a_256[32];  /**< coefficient a */
extern unsigned char g_b_256[32];  /**< coefficient b */
extern unsigned char g_Gx_256[32]; /**< x coordinate of the base point */
extern unsigned char g_Gy_256[32]; /**< y coordinate of the base point */
extern unsigned char g_Gn_256[32]; /**< order n of the base point */
/** @} */

/** @brief A prepared group for the application's use, all zero at load. Only ECC_ProduceKey() reads it. */
extern ec_group_st group;

/**
 * @brief Stores a custom curve in the registry.
 * @param p,a,b,Gx,Gy,n  in, 32 bytes each, big-endian. Each may be one of the registry's own arrays; the six
 *                       copies are made in argument order.
 * @return 0 when all six were stored; -1 when any pointer is null, and then the registry is unchanged.
 *
 * Nothing is validated. Threads: unguarded, serialise with every other use of the registry.
 */
int SM2_Set_Custom_Paramter(const unsigned char* p, const unsigned char* a, const unsigned char* b,
                            const unsigned char* Gx, const unsigned char* Gy, const unsigned char* n);

/**
 * @brief Fills a parameter block.
 * @param param  out, all 192 bytes are written.
 * @param type   7 selects the registry; every other value the recommended curve of GM/T 0003.5.
 * @return 0 always. Before any SM2_Set_Custom_Paramter() type 7 yields 192 zero bytes.
 */
int SM2_Get_Paramter(ECCParameter_st* param, int type);

/** @} */

/**
 * @defgroup sm1 SM1 placeholder
 * @brief The calling contract of SM1 without the cipher.
 *
 * The eight primitives do nothing; an application may define functions of the same names to supply a cipher, and
 * the library then calls those. A block is 16 bytes, passed to the primitives as four words, each read from four bytes
 * in big-endian order. A schedule is 288 bytes (72 words). This format is the library's own; SM1 is not published.
 * @{
 */

/** @brief Number of bytes in each of the two SM1 key schedules. */
#define ULMARO_SM1_SCHEDULE_BYTES 288

/**
 * @brief Primitive: key set-up. The placeholder touches nothing.
 * @param key      in, keyLen bytes
 * @param keyLen   length of key in bytes
 * @param encKey   out, encrypt schedule of encSize bytes
 * @param encSize  288
 * @param decKey   out, decrypt schedule of decSize bytes
 * @param decSize  288
 * @return 1 on success; anything else is a failure. The placeholder returns 1.
 */
int KEY_INIT(const unsigned char* key, int keyLen, unsigned int* encKey, int encSize, unsigned int* decKey,
             int decSize);
/** @brief Primitive: enciphers one block. @param in in, 4 words @param size 8 @param encKey in, encrypt schedule
 *  @param out out, 4 words. The placeholder touches nothing, and so do those below. */
void ECB_EN(const unsigned int* in, int size, const unsigned int* encKey, unsigned int* out);
/** @brief Primitive: deciphers one block. @param in in, 4 words @param size 8 @param decKey in, decrypt schedule
 *  @param out out, 4 words */
void ECB_DE(const unsigned int* in, int size, const unsigned int* decKey, unsigned int* out);
/** @brief Primitive: CBC encryption. @param in in, len bytes @param iv in, ivLen bytes @param encKey in, encrypt
 * schedule
 *  @param len length of in and out in bytes @param ivLen length of iv in bytes @param out out, len bytes */
void X_CBC_EN_MODE(const unsigned char* in, const unsigned char* iv, const unsigned int* encKey, int len, int ivLen,
                   unsigned char* out);
/** @brief Primitive: CBC decryption. @param in in, len bytes @param iv in, ivLen bytes @param encKey in, encrypt
 * schedule
 *  @param decKey in, decrypt schedule @param len length of in and out in bytes @param ivLen length of iv in bytes
 *  @param out out, len bytes */
void X_CBC_DE_MODE(const unsigned char* in, const unsigned char* iv, const unsigned int* encKey,
                   const unsigned int* decKey, int len, int ivLen, unsigned char* out);
/** @brief Primitive without a fixed argument list.
 *  @param a0,a1,a2,a3,a4,a5,a6,a7 what the application passes: up to eight arguments of pointer width */
void KEY_EXTEND(void* a0, void* a1, void* a2, void* a3, void* a4, void* a5, void* a6, void* a7);
/** @brief Primitive without a fixed argument list; see KEY_EXTEND(). @copydetails KEY_EXTEND() */
void X_ECB_EN_MODE(void* a0, void* a1, void* a2, void* a3, void* a4, void* a5, void* a6, void* a7);
/** @brief Primitive without a fixed argument list; see KEY_EXTEND(). @copydetails KEY_EXTEND() */
void X_ECB_DE_MODE(void* a0, void* a1, void* a2, void* a3, void* a4, void* a5, void* a6, void* a7);

/** @brief Forwards to KEY_INIT() with the same arguments and result. @copydetails KEY_INIT() */
int SM1_KEY_INIT(const unsigned char* key, int keyLen, unsigned int* encKey, int encSize, unsigned int* decKey,
                 int decSize);
/** @brief Forwards to ECB_EN(). @copydetails ECB_EN() */
void SM1_ECB_EN(const unsigned int* in, int size, const unsigned int* encKey, unsigned int* out);
/** @brief Forwards to ECB_DE(). @copydetails ECB_DE() */
void SM1_ECB_DE(const unsigned int* in, int size, const unsigned int* decKey, unsigned int* out);
/** @brief Forwards to X_CBC_EN_MODE(). @copydetails X_CBC_EN_MODE() */
void SM1_X_CBC_EN_MODE(const unsigned char* in, const unsigned char* iv, const unsigned int* encKey, int len, int ivLen,
                       unsigned char* out);
/** @brief Forwards to X_CBC_DE_MODE(). @copydetails X_CBC_DE_MODE() */
void SM1_X_CBC_DE_MODE(const unsigned char* in, const unsigned char* iv, const unsigned int* encKey,
                       const unsigned int* decKey, int len, int ivLen, unsigned char* out);
/** @brief Forwards to KEY_EXTEND(); the arguments pass through unchanged. @copydetails KEY_EXTEND() */
void SM1_KEY_EXTEND(void* a0, void* a1, void* a2, void* a3, void* a4, void* a5, void* a6, void* a7);
/** @brief Forwards to X_ECB_EN_MODE(); the arguments pass through unchanged. @copydetails KEY_EXTEND() */
void SM1_X_ECB_EN_MODE(void* a0, void* a1, void* a2, void* a3, void* a4, void* a5, void* a6, void* a7);
/** @brief Forwards to X_ECB_DE_MODE(); the arguments pass through unchanged. @copydetails KEY_EXTEND() */
void SM1_X_ECB_DE_MODE(void* a0, void* a1, void* a2, void* a3, void* a4, void* a5, void* a6, void* a7);

/**
 * @brief ECB encryption with a raw key: sets up both schedules, then SM1_ECB_EN() block by block.
 * @param key      in, keyLen bytes, passed to KEY_INIT()
 * @param keyLen   length of key in bytes
 * @param ignored  not read
 * @param in       in, ceil(len / 16) whole blocks: a len of 17 reads 32 bytes
 * @param len      length in bytes; 0 and below processes nothing
 * @param out      out, as many bytes as are read. May be the same buffer as in. With the placeholder: zero bytes
 * @return 1; -1 when KEY_INIT() returns anything but 1, and then nothing is written.
 */
int SM1_X_ECB_EN_MODE_EX(const unsigned char* key, int keyLen, const unsigned char* ignored, const unsigned char* in,
                         int len, unsigned char* out);
/** @brief ECB decryption with a raw key through SM1_ECB_DE(). @copydetails SM1_X_ECB_EN_MODE_EX() */
int SM1_X_ECB_DE_MODE_EX(const unsigned char* key, int keyLen, const unsigned char* ignored, const unsigned char* in,
                         int len, unsigned char* out);
/**
 * @brief CBC encryption with a raw key: sets up both schedules, then one call of SM1_X_CBC_EN_MODE().
 * @param key     in, keyLen bytes, passed to KEY_INIT()
 * @param keyLen  length of key in bytes
 * @param iv      in, ivLen bytes; its handling is up to the primitive
 * @param ivLen   length of iv in bytes
 * @param in      in, len bytes
 * @param len     length in bytes
 * @param out     out; overlap and tail are up to the primitive
 * @return 1; -1 when KEY_INIT() returns anything but 1.
 */
int SM1_X_CBC_EN_MODE_EX(const unsigned char* key, int keyLen, const unsigned char* iv, int ivLen,
                         const unsigned char* in, int len, unsigned char* out);
/** @brief CBC decryption with a raw key through SM1_X_CBC_DE_MODE(). @copydetails SM1_X_CBC_EN_MODE_EX() */
int SM1_X_CBC_DE_MODE_EX(const unsigned char* key, int keyLen, const unsigned char* iv, int ivLen,
                         const unsigned char* in, int len, unsigned char* out);

/** @} */

/**
 * @defgroup sm3 SM3 hash
 * @brief 256-bit hash of GM/T 0004 and GB/T 32905.
 *
 * The digest is the standard's for messages below 2^29 bytes; from there on the length field holds only the low
 * 32 bits of the bit count. For longer messages finish the stream with ulmaro_sm3_finish(). Constant time in the
 * message bytes, variable in lengths.
 * @{
 */

/** @brief Number of bytes in a digest. */
#define ULMARO_SM3_DIGEST_BYTES 32
/** @brief Number of bytes in a block of the hash, as HMAC needs it. */
#define ULMARO_SM3_BLOCK_BYTES 64

/** @brief Starts a stream. @param ctx out, completely written. */
void SM3_Init(SM3_CTX* ctx);

/**
 * @brief Absorbs bytes; any split of a message over calls gives the same digest.
 * @param ctx  in and out, after SM3_Init()
 * @param in   in, len bytes; may lie anywhere, even inside ctx; may be null when len is 0
 * @param len  number of bytes. A negative one raises `std::bad_array_new_length` with ctx unchanged.
 */
void SM3_Update(SM3_CTX* ctx, const unsigned char* in, int len);

/**
 * @brief Pads, and writes the digest.
 * @param ctx  in and out. Afterwards its chaining value is that of the finished message; the pending bytes and counts
 * stay. Call SM3_Init() before using it again: a second SM3_Final() gives another, meaningless digest.
 * @param out  out, 32 bytes
 */
void SM3_Final(SM3_CTX* ctx, unsigned char* out);

#if (defined(__cplusplus) && __cplusplus >= 201103L) || (defined(__STDC_VERSION__) && __STDC_VERSION__ >= 199901L)
/**
 * @brief Pads like SM3_Final() but with the standard's 64-bit length, and writes the digest: for messages of any
 * length.
 *
 * Not an entry point: it is compiled into the program that calls it.
 * @param ctx     in and out. Call SM3_Init() before using it again.
 * @param length  bytes absorbed since SM3_Init(), counted by the caller; below 2^61
 * @param out     out, 32 bytes; must not overlap ctx
 */
static inline void ulmaro_sm3_finish(SM3_CTX* ctx, unsigned long long length, unsigned char* out) {
    unsigned char padding[72] = {0x80};
    const int at = 1 + ((55 - ctx->num) & 63); /* the length starts here, and ends with the block */
    int i;
    for (i = 0; i < 8; i++) padding[at + i] = length * 8 >> (56 - 8 * i) & 0xff;
    SM3_Update(ctx, padding, at + 8);
    for (i = 0; i < 32; i++) out[i] = ctx->V[i / 4] >> (24 - 8 * (i % 4)) & 0xff;
}
#endif

/**
 * @brief Hashes len bytes at once.
 * @param in   in, len bytes; may be null when len is 0
 * @param len  number of bytes. A negative one raises `std::bad_array_new_length`, nothing written.
 * @param out  out, 32 bytes; may overlap in
 */
void SM3_HASH(const unsigned char* in, int len, unsigned char* out);

/**
 * @brief Z, the digest of the default user identity "1234567812345678", the curve and a public key.
 *
 * Z = SM3(00 80 || identity || a || b || xG || yG || xA || yA). Source: GM/T 0009 clause 8.1, GM/T 0003.2 clause 5.5.
 * @param pubKey  in
 * @param param   in; a, b, Gx and Gy are read
 * @param out     out, 32 bytes; may overlap the inputs
 * @return 0; -1 when a pointer is null, and then out is untouched.
 *
 * To sign a message M, hash Z and then M as one stream and pass that digest to SM2_ECDSA_Signature().
 */
int SM3_algrithm_userid_hash(const ECC_PUBLIC_KEY* pubKey, const ECCParameter_st* param, unsigned char* out);

/**
 * @brief Key derivation: SM3(z || 00000001) || SM3(z || 00000002) || ... cut to kLen bytes.
 * @param z     in, zLen bytes
 * @param zLen  length of z in bytes, up to 2^29 - 5 for the standard's digests. A negative one raises
 *              `std::bad_array_new_length`, nothing written.
 * @param kLen  bytes wanted (not bits); 0 and below writes nothing
 * @param out   out, kLen bytes; may overlap z
 *
 * Source: GM/T 0003.4 clause 5.4.3, GB/T 32918.4. Constant time in the bytes of z, variable in the lengths.
 */
void SM2_KDF_ALGRITRHM(const unsigned char* z, int zLen, int kLen, unsigned char* out);

/** @} */

/**
 * @defgroup sm2 SM2 public-key cryptography
 * @brief Keys, signatures and encryption over 256-bit prime curves; GM/T 0003, GB/T 32918.
 * @{
 */

/** @brief Number of bytes in a coordinate, a private scalar, and each half of a signature. */
#define ULMARO_SM2_NUMBER_BYTES 32
/** @brief Number of bytes in a ciphertext record before C2: C1, C3 and the length. */
#define ULMARO_SM2_CIPHER_HEAD_BYTES 100

/**
 * @brief Prepares a group from a parameter block. The plain library also calls `srand(time(NULL))`.
 * @param param  in
 * @param grp    out, all 416 bytes are written. The same block gives the same bytes.
 * @return 0 always; nothing is validated. For an even or zero p, or a zero n, the Montgomery fields are zero and no
 *         operation on the group succeeds.
 */
int SM2_ECC_InitParameter(const ECCParameter_st* param, ec_group_st* grp) ULMARO_OWN_NAME(SM2_ECC_InitParameter);

/**
 * @brief Draws a key pair.
 * @param grp     in, prepared
 * @param pubKey  out, 64 bytes
 * @param priKey  out, 32 bytes
 * @return 0 always. On a group without a usable order (its top word is zero) both outputs are zero.
 *
 * Use the hardened library: with the plain one d comes from `rand`, and can be computed from the second in which a
 * group was prepared.
 */
int SM2_ECC_GenerateKeyPair(const ec_group_st* grp, ECC_PUBLIC_KEY* pubKey, ECC_PRIVATE_KEY* priKey)
    ULMARO_OWN_NAME(SM2_ECC_GenerateKeyPair);

/**
 * @brief The public key of a private scalar on the recommended curve. Prepares a group, so the plain library seeds
 *        `rand`.
 * @param pubKey  out, 64 bytes; all zero when the scalar is a multiple of n
 * @param priKey  in, the scalar in words 0..7, least significant first: not the big-endian ::ECC_PRIVATE_KEY
 * @return 0 always.
 */
int SM2_CalcPubKeyByPriKey(ECC_PUBLIC_KEY* pubKey, const bignum_st* priKey) ULMARO_OWN_NAME(SM2_CalcPubKeyByPriKey);

/**
 * @brief Tests y^2 = x^3 + a x + b (mod p).
 * @param param   in, the curve
 * @param pubKey  in; coordinates are reduced modulo p, not range-checked
 * @return 1 when the equation holds, 0 otherwise and for p = 0.
 */
ULMARO_MUST_USE int SM2_POINT_is_on_curve(const ECCParameter_st* param, const ECC_PUBLIC_KEY* pubKey);

/**
 * @brief Signs a digest. Source: GM/T 0003.2 clause 6.1 from step A2 on.
 * @param grp        in, prepared
 * @param e          in, 32 bytes, SM3(Z || M): the message must not be hashed again
 * @param key        in, 1 <= d <= n - 2
 * @param signature  out, 64 bytes; all zero (which never verifies) when the key or the group allows no signature
 * @return 0 always.
 *
 * Use the hardened library: with the plain one the ephemeral scalar comes from `rand`, so the private key can be
 * computed from a signature.
 */
int SM2_ECDSA_Signature(const ec_group_st* grp, const unsigned char* e, const ECC_PRIVATE_KEY* key,
                        ECC_SIGNATURE* signature) ULMARO_OWN_NAME(SM2_ECDSA_Signature);

/**
 * @brief Verifies a signature. Source: GM/T 0003.2 clause 7.1.
 * @param grp        in, prepared
 * @param e          in, 32 bytes, SM3(Z || M)
 * @param key        in; a point off the curve never verifies
 * @param signature  in
 * @return 1 for a valid signature, 0 otherwise. Prints "r>=n ret = %d\n", "s>=n ret = %d\n" or
 *         "cmp different! ret= %d\n" on standard output for the reason named. On a group without a usable order (its
 *         top word is zero) no signature is valid.
 */
ULMARO_MUST_USE int SM2_ECDSA_Verification(const ec_group_st* grp, const unsigned char* e, const ECC_PUBLIC_KEY* key,
                                           const ECC_SIGNATURE* signature);

/**
 * @brief Encrypts a message. Source: GM/T 0003.4 clause 6.1, in the order C1, C3, C2.
 * @param grp     in, prepared
 * @param msg     in, msgLen bytes; may overlap the record's cipher field exactly
 * @param msgLen  length in bytes, up to 2^29 - 65: C3 of a longer message is not the standard's, because it is the
 *                digest of 2^29 bytes or more. A negative one, or one above 2^31 - 65, raises
 *                `std::bad_array_new_length` with nothing written.
 * @param pubKey  in; not checked against the curve (SM2_POINT_is_on_curve() does that)
 * @param blob    out, 100 + msgLen bytes; null: nothing is done
 * @return 0 always. On a group or key that allows no encryption the record is zero except for its length.
 *
 * Use the hardened library: with the plain one the ephemeral scalar comes from `rand`, so the message can be computed
 * from the record.
 */
int SM2_ECES_Encryption(const ec_group_st* grp, const unsigned char* msg, int msgLen, const ECC_PUBLIC_KEY* pubKey,
                        Ulmaro_ECC_CIPHER_BLOB* blob) ULMARO_OWN_NAME(SM2_ECES_Encryption);

/**
 * @brief Decrypts a record. Source: GM/T 0003.4 clause 7.1.
 * @param grp     in, prepared
 * @param blob    in, 100 + cipher_len bytes
 * @param priKey  in
 * @param plain   out, cipher_len bytes, no terminator; may overlap blob
 * @return 1 when the message is authentic; 0 otherwise, and one line is printed on standard output:
 *         "BN_is_zero failed!\n", "sum_t==0\n" (also for an empty message) or "char_equal!=0\n". After the last of
 *         these, plain may hold bytes that are not authentic: discard them. On a group without a usable order (its top
 *         word is zero) no record is decrypted.
 */
ULMARO_MUST_USE int SM2_ECES_Decryption(const ec_group_st* grp, const Ulmaro_ECC_CIPHER_BLOB* blob,
                                        const ECC_PRIVATE_KEY* priKey, unsigned char* plain);

/** @} */

/**
 * @defgroup sm4 SM4 block cipher
 * @brief 128-bit block cipher of GM/T 0002 and GB/T 32907; ECB and CBC over whole blocks, no padding.
 *
 * One schedule serves both directions and any number of threads. All mode operations: len in bytes; only whole
 * 16-byte blocks are processed, trailing bytes of out stay untouched; a len of -4 and below raises
 * `std::bad_array_new_length` before anything is read or written; out may be in, or overlap in, iv, key and
 * rk in any way; iv is not written unless out overlaps it. To continue a CBC stream, pass its last 16 ciphertext bytes
 * as the next iv.
 * @{
 */

/** @brief Number of bytes in a key. */
#define ULMARO_SM4_KEY_BYTES 16
/** @brief Number of bytes in a block and in an iv. */
#define ULMARO_SM4_BLOCK_BYTES 16
/** @brief Number of words in an SM4 round-key schedule. */
#define ULMARO_SM4_SCHEDULE_WORDS 32

/**
 * @brief Expands a key.
 * @param key     in, 16 bytes are read
 * @param keyLen  length of key in bytes, at least 16
 * @param rk      out, 32 words in encryption order
 * @param rkLen   capacity of rk in words, at least 32
 * @return 1; -1 when a pointer is null or a length too small, and then nothing is written.
 */
int SM4_KEY_INIT(const unsigned char* key, int keyLen, unsigned int* rk, int rkLen);

/** @brief ECB encryption. @param in in, len bytes @param len bytes @param rk schedule @param out out, len bytes */
void SM4_X_ECB_EN_MODE(const unsigned char* in, int len, const unsigned int* rk, unsigned char* out);
/** @brief ECB decryption. @param in in, len bytes @param len bytes @param rk schedule @param out out, len bytes */
void SM4_X_ECB_DE_MODE(const unsigned char* in, int len, const unsigned int* rk, unsigned char* out);
/** @brief CBC encryption. @param in in, len bytes @param len bytes @param rk schedule @param iv in, 16 bytes
 *  @param out out, len bytes */
void SM4_X_CBC_EN_MODE(const unsigned char* in, int len, const unsigned int* rk, const unsigned char* iv,
                       unsigned char* out);
/** @brief CBC decryption. @param in in, len bytes @param len bytes @param rk schedule @param iv in, 16 bytes
 *  @param out out, len bytes */
void SM4_X_CBC_DE_MODE(const unsigned char* in, int len, const unsigned int* rk, const unsigned char* iv,
                       unsigned char* out);
/** @brief CBC encryption with a raw key. @param in in, len bytes @param len bytes @param key in, 16 bytes
 *  @param iv in, 16 bytes @param out out, len bytes */
void SM4_X_CBC_EN_MODE_EX(const unsigned char* in, int len, const unsigned char* key, const unsigned char* iv,
                          unsigned char* out);
/** @brief CBC decryption with a raw key. @param in in, len bytes @param len bytes @param key in, 16 bytes
 *  @param iv in, 16 bytes @param out out, len bytes */
void SM4_X_CBC_DE_MODE_EX(const unsigned char* in, int len, const unsigned char* key, const unsigned char* iv,
                          unsigned char* out);

/** @} */

#ifdef __cplusplus
}
#endif

#endif
