// Botan 2.
#include <botan/block_cipher.h>
#include <botan/hash.h>
#include <botan/version.h>

#include <memory>

#include "cases.hpp"

namespace bench {
namespace {

constexpr const char* kName = "botan";

const bool registered = [] {
    static const std::unique_ptr<Botan::HashFunction> hash = Botan::HashFunction::create_or_throw("SM3");
    static const std::unique_ptr<Botan::BlockCipher> cipher = [] {
        auto created = Botan::BlockCipher::create_or_throw("SM4");
        created->set_key(kKey, sizeof kKey);
        return created;
    }();
    notes().emplace_back(kName, Botan::short_version_string());
    for (const std::size_t size : sizes()) {
        const unsigned char* in = input(size);
        unsigned char* out = output(size);
        add(
            "sm3", size, kName,
            [=] {
                hash->update(in, size);
                hash->final(out);
            },
            32);
        add(
            "sm4-ecb-encrypt", size, kName, [=] { cipher->encrypt_n(in, out, size / 16); }, size);
        add(
            "sm4-ecb-decrypt", size, kName, [=] { cipher->decrypt_n(in, out, size / 16); }, size);
    }
    return true;
}();

}  // namespace
}  // namespace bench
