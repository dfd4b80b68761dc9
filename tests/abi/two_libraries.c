/* For two_libraries.sh: one source, C and C++, from which it builds
 * - COUNTER: a shared object whose rand and srand count;
 * - USE=use_plain, USE=use_hardened: all that touches the random source, called by the names of the library that the
 *   flags say;
 * - otherwise: a program that runs what of these is linked, then opens the shared objects in its arguments ("l:FILE"
 *   with RTLD_LOCAL, "g:FILE" with RTLD_GLOBAL) and runs them, by their own function and by handle. It prints who drew.
 */
#ifdef COUNTER

static int calls;

int random_calls(void) {
    const int so_far = calls;
    calls = 0;
    return so_far;
}
int rand(void) { return ++calls; }
void srand(unsigned int seed) { calls += seed != 0; }

#else

#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>

#include "UlmaroAlgrithm.h"

struct calls {
    int (*curve)(ECCParameter_st*, int);
    int (*prepare)(const ECCParameter_st*, ec_group_st*);
    int (*generate)(const ec_group_st*, ECC_PUBLIC_KEY*, ECC_PRIVATE_KEY*);
    int (*public_key)(ECC_PUBLIC_KEY*, const bignum_st*);
    int (*sign)(const ec_group_st*, const unsigned char*, const ECC_PRIVATE_KEY*, ECC_SIGNATURE*);
    int (*verify)(const ec_group_st*, const unsigned char*, const ECC_PUBLIC_KEY*, const ECC_SIGNATURE*);
    int (*encrypt)(const ec_group_st*, const unsigned char*, int, const ECC_PUBLIC_KEY*, Ulmaro_ECC_CIPHER_BLOB*);
    int (*decrypt)(const ec_group_st*, const Ulmaro_ECC_CIPHER_BLOB*, const ECC_PRIVATE_KEY*, unsigned char*);
};

static unsigned int record_words[50]; /* 100 bytes and a message of as many */
static unsigned char message[100];

static void use_calls(const struct calls* c) {
    Ulmaro_ECC_CIPHER_BLOB* const record = (Ulmaro_ECC_CIPHER_BLOB*)record_words;
    ECCParameter_st curve;
    ec_group_st grp;
    ECC_PUBLIC_KEY key;
    ECC_PRIVATE_KEY d;
    ECC_SIGNATURE signature;
    c->curve(&curve, 0);
    c->prepare(&curve, &grp);
    c->generate(&grp, &key, &d);
    c->sign(&grp, message, &d, &signature);
    if (c->verify(&grp, message, &key, &signature) != 1) abort();
    c->encrypt(&grp, message, 100, &key, record);
    if (c->decrypt(&grp, record, &d, message) != 1) abort();
    c->public_key(&key, &grp.mont_one);
}

#ifdef USE

#ifdef __cplusplus
#include "UlmaroAlgrithm.hpp"
#include "UlmaroAlgrithmInternals.hpp"

static void use_cpp() {
    namespace ua = ulmaro::algrithm;
    const ua::Curve curve;
    const ua::KeyPair keys = curve.generate();
    (void)curve.public_key(keys.private_key);
    if (!curve.verify(keys.public_key, ua::bytes_of("m"), curve.sign(keys, ua::bytes_of("m")))) abort();
    if (curve.decrypt(keys.private_key, curve.encrypt(keys.public_key, ua::bytes_of("m"))).size() != 1) abort();

    ECCParameter_st parameters;
    ECC_PUBLIC_KEY key;
    ECC_PRIVATE_KEY d;
    ECC_SIGNATURE signature;
    SM2_Get_Paramter(&parameters, 0);
    ECC_InitParameter(&parameters, &group);
    ECC_GenerateKeyPair(&group, &key, &d);
    ECC_ProduceKey(0, key.x, d.d);
    ECDSA_Signature(&group, message, &d, &signature);
    if (ECDSA_Verification(&group, message, &key, &signature) != 1) abort();
    ECES_Encryption(&group, message, 100, &key, reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record_words));
}
extern "C"
#endif
    void
    USE(void);
void USE(void) {
    static const struct calls linked = {SM2_Get_Paramter,       SM2_ECC_InitParameter, SM2_ECC_GenerateKeyPair,
                                        SM2_CalcPubKeyByPriKey, SM2_ECDSA_Signature,   SM2_ECDSA_Verification,
                                        SM2_ECES_Encryption,    SM2_ECES_Decryption};
    use_calls(&linked);
#ifdef __cplusplus
    use_cpp();
#endif
}

#else

int random_calls(void);
void use_plain(void) __attribute__((weak));
void use_hardened(void) __attribute__((weak));

static void run(const char* what, void (*use)(void)) {
    if (use == NULL) return;
    use();
    printf(" %s=%s", what, random_calls() == 0 ? "kernel" : "rand");
}

static void* handle;

static void find(void* function, const char* name) {
    if ((*(void**)function = dlsym(handle, name)) == NULL) abort();
}

static void use_handle(void) {
    struct calls c;
    find(&c.curve, "SM2_Get_Paramter");
    find(&c.prepare, "SM2_ECC_InitParameter");
    find(&c.generate, "SM2_ECC_GenerateKeyPair");
    find(&c.public_key, "SM2_CalcPubKeyByPriKey");
    find(&c.sign, "SM2_ECDSA_Signature");
    find(&c.verify, "SM2_ECDSA_Verification");
    find(&c.encrypt, "SM2_ECES_Encryption");
    find(&c.decrypt, "SM2_ECES_Decryption");
    use_calls(&c);
    find(&c.generate, "_Z19ECC_GenerateKeyPairP11ec_group_stP14ECC_PUBLIC_KEYP15ECC_PRIVATE_KEY");
    find(&c.sign, "_Z15ECDSA_SignatureP11ec_group_stPhP15ECC_PRIVATE_KEYP13ECC_SIGNATURE");
    use_calls(&c);
}

int main(int argc, char** argv) {
    run("plain", use_plain);
    run("hardened", use_hardened);
    for (int i = 1; i < argc; i++) {
        void (*use)(void);
        handle = dlopen(argv[i] + 2, RTLD_NOW | (argv[i][0] == 'g' ? RTLD_GLOBAL : RTLD_LOCAL));
        if (handle == NULL) {
            fprintf(stderr, "%s\n", dlerror());
            return 1;
        }
        *(void**)&use = dlsym(handle, "use_plain");
        run("plain", use == use_plain ? NULL : use);
        *(void**)&use = dlsym(handle, "use_hardened");
        run("hardened", use == use_hardened ? NULL : use);
        run("handle", use_handle);
    }
    return 0;
}

#endif
#endif
