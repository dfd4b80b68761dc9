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

#ifdef USE
#define CALL(name) name
#else
static void* handle;

static void* find(const char* name) {
    void* const function = dlsym(handle, name);
    if (function == NULL) abort();
    return function;
}
#define FIND(type, name) ((__typeof__(&type))find(name))
#define CALL(name) FIND(name, #name)
#endif

static unsigned int record_words[50]; /* 100 bytes and a message of as many */
static unsigned char message[100];
static ECCParameter_st curve;
static ec_group_st grp;
static ECC_PUBLIC_KEY key;
static ECC_PRIVATE_KEY d;
static ECC_SIGNATURE signature;

static void use_calls(void) {
    Ulmaro_ECC_CIPHER_BLOB* const record = (Ulmaro_ECC_CIPHER_BLOB*)record_words;
    CALL(SM2_Get_Paramter)(&curve, 0);
    CALL(SM2_ECC_InitParameter)(&curve, &grp);
    CALL(SM2_ECC_GenerateKeyPair)(&grp, &key, &d);
    CALL(SM2_ECDSA_Signature)(&grp, message, &d, &signature);
    if (CALL(SM2_ECDSA_Verification)(&grp, message, &key, &signature) != 1) abort();
    CALL(SM2_ECES_Encryption)(&grp, message, 100, &key, record);
    if (CALL(SM2_ECES_Decryption)(&grp, record, &d, message) != 1) abort();
    CALL(SM2_CalcPubKeyByPriKey)(&key, &grp.mont_one);
}

#ifdef USE

#ifdef __cplusplus
#include "UlmaroAlgrithm.hpp"
#include "UlmaroAlgrithmInternals.hpp"

static void use_cpp() {
    namespace ua = ulmaro::algrithm;
    const ua::Curve own;
    const ua::KeyPair keys = own.generate();
    (void)own.public_key(keys.private_key);
    if (!own.verify(keys.public_key, ua::bytes_of("m"), own.sign(keys, ua::bytes_of("m")))) abort();
    if (own.decrypt(keys.private_key, own.encrypt(keys.public_key, ua::bytes_of("m"))).size() != 1) abort();
    ECC_InitParameter(&curve, &group);
    ECC_ProduceKey(0, key.x, d.d);
    ECC_GenerateKeyPair(&group, &key, &d);
    ECDSA_Signature(&group, message, &d, &signature);
    if (ECDSA_Verification(&group, message, &key, &signature) != 1) abort();
    ECES_Encryption(&group, message, 100, &key, reinterpret_cast<Ulmaro_ECC_CIPHER_BLOB*>(record_words));
}
extern "C"
#endif
    void
    USE(void);
void USE(void) {
    use_calls();
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

static void use_handle(void) {
    use_calls();
    FIND(SM2_ECC_GenerateKeyPair, "_Z19ECC_GenerateKeyPairP11ec_group_stP14ECC_PUBLIC_KEYP15ECC_PRIVATE_KEY")
    (&grp, &key, &d);
    FIND(SM2_ECDSA_Signature, "_Z15ECDSA_SignatureP11ec_group_stPhP15ECC_PRIVATE_KEYP13ECC_SIGNATURE")
    (&grp, message, &d, &signature);
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
