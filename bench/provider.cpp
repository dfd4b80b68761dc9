// What a program gains that uses OpenSSL: the same calls of EVP, answered by OpenSSL's own code and by the module, in
// one process and in turn. Prints a table in Markdown: the best times of 40 rounds and their ratio.
//
//   ulmaro_provider_bench FOLDER-OF-ulmaro.so
#include <openssl/crypto.h>
#include <openssl/evp.h>
#include <openssl/provider.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

constexpr unsigned char digest[32] = {1};
constexpr int bulk = 65536, rounds = 40;

void check(bool done) {
    if (done) return;
    std::fputs("OpenSSL refused a call\n", stderr);
    std::exit(1);
}

/// A library context with its keys and contexts, which live as long as the process.
struct Side {
    OSSL_LIB_CTX* library = OSSL_LIB_CTX_new();
    EVP_PKEY* key = nullptr;
    EVP_PKEY_CTX *signing = nullptr, *verifying = nullptr, *encrypting = nullptr, *decrypting = nullptr;
    EVP_MD* sm3 = nullptr;
    EVP_CIPHER_CTX *ecb = nullptr, *cbc = nullptr, *cbc_back = nullptr, *ctr = nullptr;
    std::array<unsigned char, 80> signature{};
    std::array<unsigned char, 256> sealed{};
    std::size_t signature_size = signature.size(), sealed_size = sealed.size();
    std::vector<unsigned char> data = std::vector<unsigned char>(bulk);

    explicit Side(const char* modules) {
        check(OSSL_PROVIDER_load(library, "default") != nullptr);
        if (modules != nullptr) {
            check(OSSL_PROVIDER_set_default_search_path(library, modules) == 1);
            check(OSSL_PROVIDER_load(library, "ulmaro") != nullptr);
            check(EVP_set_default_properties(library, "?provider=ulmaro") == 1);
        }
        key = EVP_PKEY_Q_keygen(library, nullptr, "SM2");
        check(EVP_PKEY_sign_init(signing = EVP_PKEY_CTX_new_from_pkey(library, key, nullptr)) == 1);
        check(EVP_PKEY_verify_init(verifying = EVP_PKEY_CTX_new_from_pkey(library, key, nullptr)) == 1);
        check(EVP_PKEY_encrypt_init(encrypting = EVP_PKEY_CTX_new_from_pkey(library, key, nullptr)) == 1);
        check(EVP_PKEY_decrypt_init(decrypting = EVP_PKEY_CTX_new_from_pkey(library, key, nullptr)) == 1);
        check(EVP_PKEY_sign(signing, signature.data(), &signature_size, digest, sizeof digest) == 1);
        check(EVP_PKEY_encrypt(encrypting, sealed.data(), &sealed_size, digest, sizeof digest) == 1);
        sm3 = EVP_MD_fetch(library, "SM3", nullptr);
        ecb = cipher("SM4-ECB", 1);
        cbc = cipher("SM4-CBC", 1);
        cbc_back = cipher("SM4-CBC", 0);
        ctr = cipher("SM4-CTR", 1);
    }

    EVP_CIPHER_CTX* cipher(const char* name, int encrypt) const {
        EVP_CIPHER_CTX* context = EVP_CIPHER_CTX_new();
        const EVP_CIPHER* fetched = EVP_CIPHER_fetch(library, name, nullptr);
        check(EVP_CipherInit_ex2(context, fetched, digest, digest, encrypt, nullptr) == 1);
        EVP_CIPHER_CTX_set_padding(context, 0);
        return context;
    }
};

void update(Side& side, EVP_CIPHER_CTX* cipher) {
    int size = 0;
    check(EVP_CipherUpdate(cipher, side.data.data(), &size, side.data.data(), bulk) == 1);
}

void sign_message(Side& side) {
    EVP_MD_CTX* const context = EVP_MD_CTX_new();
    EVP_PKEY_CTX* parameters = nullptr;
    check(EVP_DigestSignInit_ex(context, &parameters, "SM3", side.library, nullptr, side.key, nullptr) == 1);
    check(EVP_PKEY_CTX_set1_id(parameters, "1234567812345678", 16) == 1);
    std::size_t size = side.signature.size();
    std::array<unsigned char, 80> signature{};
    check(EVP_DigestSign(context, signature.data(), &size, digest, sizeof digest) == 1);
    EVP_MD_CTX_free(context);
}

struct Operation {
    const char* name;
    void (*run)(Side&);
};

constexpr Operation operations[] = {
    {"SM2 key pair", [](Side& s) { EVP_PKEY_free(EVP_PKEY_Q_keygen(s.library, nullptr, "SM2")); }},
    {"SM2 signature of a digest",
     [](Side& s) {
         std::array<unsigned char, 80> out{};
         std::size_t size = out.size();
         check(EVP_PKEY_sign(s.signing, out.data(), &size, digest, sizeof digest) == 1);
     }},
    {"SM2 signature of a message with identifier", sign_message},
    {"SM2 verification",
     [](Side& s) {
         check(EVP_PKEY_verify(s.verifying, s.signature.data(), s.signature_size, digest, sizeof digest) == 1);
     }},
    {"SM2 encryption, 32 bytes",
     [](Side& s) {
         std::array<unsigned char, 256> out{};
         std::size_t size = out.size();
         check(EVP_PKEY_encrypt(s.encrypting, out.data(), &size, digest, sizeof digest) == 1);
     }},
    {"SM2 decryption, 32 bytes",
     [](Side& s) {
         std::array<unsigned char, 256> out{};
         std::size_t size = out.size();
         check(EVP_PKEY_decrypt(s.decrypting, out.data(), &size, s.sealed.data(), s.sealed_size) == 1);
     }},
    {"SM3, 64 KiB",
     [](Side& s) {
         std::array<unsigned char, 32> out{};
         check(EVP_Digest(s.data.data(), bulk, out.data(), nullptr, s.sm3, nullptr) == 1);
     }},
    {"SM4-ECB, 64 KiB", [](Side& s) { update(s, s.ecb); }},
    {"SM4-CBC encryption, 64 KiB", [](Side& s) { update(s, s.cbc); }},
    {"SM4-CBC decryption, 64 KiB", [](Side& s) { update(s, s.cbc_back); }},
    {"SM4-CTR, 64 KiB", [](Side& s) { update(s, s.ctr); }},
};

/// Microseconds that a call takes on the average of 8 ms.
double time_of(const Operation& operation, Side& side) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    for (int calls = 1;; ++calls) {
        operation.run(side);
        const std::chrono::duration<double, std::micro> spent = Clock::now() - start;
        if (spent.count() > 8000) return spent.count() / calls;
    }
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("usage: ulmaro_provider_bench FOLDER-OF-ulmaro.so\n", stderr);
        return 2;
    }
    Side own(nullptr), module(argv[1]);
    std::printf("| %s | OpenSSL's own, us | this, us | ratio |\n|---|---:|---:|---:|\n",
                OpenSSL_version(OPENSSL_VERSION));
    for (const Operation& operation : operations) {
        double best[2] = {1e9, 1e9};
        for (int round = 0; round < rounds; ++round) {
            best[0] = std::min(best[0], time_of(operation, own));
            best[1] = std::min(best[1], time_of(operation, module));
        }
        std::printf("| %s | %.1f | %.1f | %.1f |\n", operation.name, best[0], best[1], best[0] / best[1]);
        std::fflush(stdout);
    }
    return 0;
}
