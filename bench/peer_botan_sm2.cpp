// SM2 of Botan 2 or 3.
#include <botan/auto_rng.h>
#include <botan/pubkey.h>
#include <botan/sm2.h>

#include <algorithm>
#include <memory>
#include <vector>

#include "cases.hpp"
#include "sm2_material.hpp"

namespace bench {
namespace {

constexpr const char* peer = "botan";
// Identity and hash: none, the digest is given.
constexpr const char* digest_given = ",Raw";

const bool registered = [] {
    static Botan::AutoSeeded_RNG rng;
    static const Botan::EC_Group group("sm2p256v1");
    const Sm2Material& m = sm2_material();
    static const Botan::SM2_PrivateKey key(rng, group, Botan::BigInt(m.private_key.d, 32));
    static std::unique_ptr<Botan::SM2_PrivateKey> made;
    for (const char* operation : {"sm2-key-pair", "sm2-public-key", "sm2-custom-key-pair"})
        add(
            operation, 0, peer, [] { made = std::make_unique<Botan::SM2_PrivateKey>(rng, group); },
            [] { return made->check_key(rng, false); });

    static Botan::PK_Signer signer(key, rng, digest_given);
    static Botan::PK_Verifier verifier(key, digest_given);
    static std::vector<unsigned char> signature;
    static bool verdict = false;
    for (const std::string prefix : {"sm2", "sm2-custom"}) {
        add(
            prefix + "-sign", 0, peer, [&m] { signature = signer.sign_message(m.digest, 32, rng); },
            [&m] { return verifier.verify_message(m.digest, 32, signature.data(), signature.size()); });
        add(
            prefix + "-verify", 0, peer,
            [&m] {
                verdict = verifier.verify_message(m.digest, 32, reinterpret_cast<const unsigned char*>(&m.signature),
                                                  sizeof m.signature);
            },
            [] { return verdict; });
    }

    static Botan::PK_Encryptor_EME encryptor(key, rng, "SM3");
    static Botan::PK_Decryptor_EME decryptor(key, rng, "SM3");
    static std::vector<unsigned char> sealed;
    static Botan::secure_vector<unsigned char> opened;
    for (const std::size_t size : message_sizes) {
        const unsigned char* message = input(size);
        const auto is_message = [=] {
            return opened.size() == size && std::equal(opened.begin(), opened.end(), message);
        };
        add(
            "sm2-encrypt", size, peer, [=] { sealed = encryptor.encrypt(message, size, rng); },
            [=] {
                opened = decryptor.decrypt(sealed);
                return is_message();
            });
        add(
            "sm2-decrypt", size, peer,
            [cipher = encryptor.encrypt(message, size, rng)] { opened = decryptor.decrypt(cipher); }, is_message);
    }
    return true;
}();

}  // namespace
}  // namespace bench
