#include "formats/key_der.hpp"

#include <utility>

#include "formats/pbes2.hpp"
#include "support/text.hpp"

namespace ulmaro::tool {
namespace {

using algrithm::KeyKind;

algrithm::KeyPair read_sealed(algrithm::View der, const AskPassphrase& ask) {
    const SecretBuffer passphrase = ask();
    const SecretBuffer plain = read_encrypted(der, passphrase.span());
    try {
        return algrithm::private_key_from_der(curve(), plain.span());
    } catch (const FormatError& error) {
        // One wrong passphrase in 256 leaves a padding that looks right.
        throw FormatError(std::string("wrong passphrase, or in the decrypted key: ") + error.what());
    }
}

}  // namespace

void read_key_der(algrithm::View der, const AskPassphrase& ask, Key& key) {
    const KeyKind kind = algrithm::kind_of_key(der);
    if (kind == KeyKind::encrypted) return set_pair(key, read_sealed(der, ask));
    if (kind == KeyKind::pkcs8 || kind == KeyKind::sec1) {
        return set_pair(key, algrithm::private_key_from_der(curve(), der));
    }
    key.point = algrithm::public_key_from_der(curve(), der);
    if (kind == KeyKind::certificate)
        complain("note: only the key of this certificate is used; nothing else in it is checked");
    if (kind == KeyKind::request) complain("note: only the key of this request is used; nothing else in it is checked");
}

void set_pair(Key& key, algrithm::KeyPair pair) {
    key.point = pair.public_key;
    key.secret = std::move(pair.private_key);
}

}  // namespace ulmaro::tool
