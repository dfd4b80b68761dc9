// Botan 2 or 3.
#include <botan/block_cipher.h>
#include <botan/hash.h>
#include <botan/version.h>

#include <memory>

#include "cases.hpp"

namespace bench {
namespace {

constexpr const char* peer = "botan";

const bool registered = [] {
    static const std::unique_ptr<Botan::HashFunction> hash = Botan::HashFunction::create_or_throw("SM3");
    static const std::unique_ptr<Botan::BlockCipher> cipher = [] {
        auto created = Botan::BlockCipher::create_or_throw("SM4");
        created->set_key(sample_key, sizeof sample_key);
        return created;
    }();
    notes().emplace_back(peer, Botan::short_version_string());
    for (const std::size_t size : sizes()) {
        const unsigned char* in = input(size);
        unsigned char* out = output(size);
        add(
            "sm3", size, peer,
            [=] {
                hash->update(in, size);
                hash->final(out);
            },
            32);
        add(
            "sm4-ecb-encrypt", size, peer, [=] { cipher->encrypt_n(in, out, size / 16); }, size);
        add(
            "sm4-ecb-decrypt", size, peer, [=] { cipher->decrypt_n(in, out, size / 16); }, size);
    }
    return true;
}();

}  // namespace
}  // namespace bench
