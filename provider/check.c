/* Says for each algorithm of the provider which provider answers a program that asks for no one in particular: with the
 * configuration that OPENSSL_CONF names, or the system's. Fails unless all are this one's, because a module that is
 * missing or not chosen is replaced by OpenSSL's own code without a word. */
#include <dlfcn.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>

typedef void* fetch_function(void* context, const char* algorithm, const char* properties);
typedef const void* provider_function(const void* algorithm);
typedef const char* name_function(const void* provider);
typedef int init_function(uint64_t options, const void* settings);

static const struct {
    const char* algorithm;
    const char* fetch;
    const char* provider;
} algorithms[] = {
    {"SM3", "EVP_MD_fetch", "EVP_MD_get0_provider"},
    {"SM4-ECB", "EVP_CIPHER_fetch", "EVP_CIPHER_get0_provider"},
    {"SM4-CBC", "EVP_CIPHER_fetch", "EVP_CIPHER_get0_provider"},
    {"SM4-CTR", "EVP_CIPHER_fetch", "EVP_CIPHER_get0_provider"},
    {"SM2", "EVP_KEYMGMT_fetch", "EVP_KEYMGMT_get0_provider"},
    {"SM2", "EVP_SIGNATURE_fetch", "EVP_SIGNATURE_get0_provider"},
    {"SM2", "EVP_ASYM_CIPHER_fetch", "EVP_ASYM_CIPHER_get0_provider"},
};

/* POSIX lets a pointer from dlsym() become one to a function; C99 has no cast for it. */
#define FIND(function, library, name)                                         \
    do {                                                                      \
        void* const found = dlsym(library, name);                             \
        if (found == NULL) {                                                  \
            fprintf(stderr, "no %s: not the libcrypto of OpenSSL 3\n", name); \
            return 2;                                                         \
        }                                                                     \
        memcpy(&(function), &found, sizeof found);                            \
    } while (0)

int main(int argc, char** argv) {
    static const char* const usual[] = {"libcrypto.so.3", "libcrypto.so.4"};
    void* library = argc > 1 ? dlopen(argv[1], RTLD_NOW) : NULL;
    for (size_t i = 0; argc == 1 && library == NULL && i < sizeof usual / sizeof *usual; i++)
        library = dlopen(usual[i], RTLD_NOW);
    if (library == NULL || argc > 2) {
        fprintf(stderr, "usage: %s [LIBCRYPTO]\n%s\n", argv[0], library == NULL ? dlerror() : "");
        return 2;
    }
    init_function* init;
    name_function* name;
    FIND(init, library, "OPENSSL_init_crypto");
    FIND(name, library, "OSSL_PROVIDER_get0_name");
    const uint64_t load_configuration = 0x40;
    if (init(load_configuration, NULL) != 1) fprintf(stderr, "the configuration cannot be loaded\n");

    int status = 0;
    for (size_t i = 0; i < sizeof algorithms / sizeof *algorithms; i++) {
        fetch_function* fetch;
        provider_function* provider;
        FIND(fetch, library, algorithms[i].fetch);
        FIND(provider, library, algorithms[i].provider);
        const void* const found = fetch(NULL, algorithms[i].algorithm, NULL);
        const char* const who = found == NULL ? "none" : name(provider(found));
        printf("%-21s %-7s  %s\n", algorithms[i].fetch, algorithms[i].algorithm, who);
        if (strcmp(who, "ulmaro") != 0) status = 1;
    }
    return status;
}
