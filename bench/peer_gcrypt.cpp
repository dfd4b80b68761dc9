// libgcrypt.
#include <gcrypt.h>

#include "cases.hpp"
#include "peer.hpp"

namespace bench {
namespace {

constexpr const char* peer = "gcrypt";

void require(gcry_error_t error) { ensure(error == 0, peer); }

using Crypt = gcry_error_t (*)(gcry_cipher_hd_t, void*, size_t, const void*, size_t);

void add_cipher(const char* operation, int mode, Crypt crypt, std::size_t size) {
    gcry_cipher_hd_t handle = nullptr;
    require(gcry_cipher_open(&handle, GCRY_CIPHER_SM4, mode, 0));
    require(gcry_cipher_setkey(handle, sample_key, sizeof sample_key));
    const unsigned char* in = input(size);
    unsigned char* out = output(size);
    add(
        operation, size, peer,
        [=] {
            if (mode == GCRY_CIPHER_MODE_CBC) require(gcry_cipher_setiv(handle, sample_iv, sizeof sample_iv));
            require(crypt(handle, out, size, in, size));
        },
        size);
}

const bool registered = [] {
    const char* version = gcry_check_version(nullptr);
    ensure(version != nullptr, peer);
    notes().emplace_back(peer, version);
    for (const std::size_t size : sizes()) {
        const unsigned char* in = input(size);
        unsigned char* out = output(size);
        add(
            "sm3", size, peer, [=] { gcry_md_hash_buffer(GCRY_MD_SM3, out, in, size); }, 32);
        add_cipher("sm4-ecb-encrypt", GCRY_CIPHER_MODE_ECB, gcry_cipher_encrypt, size);
        add_cipher("sm4-ecb-decrypt", GCRY_CIPHER_MODE_ECB, gcry_cipher_decrypt, size);
        add_cipher("sm4-cbc-encrypt", GCRY_CIPHER_MODE_CBC, gcry_cipher_encrypt, size);
        add_cipher("sm4-cbc-decrypt", GCRY_CIPHER_MODE_CBC, gcry_cipher_decrypt, size);
    }
    return true;
}();

}  // namespace
}  // namespace bench
