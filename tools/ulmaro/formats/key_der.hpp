// Keys in DER, encrypted ones too.
#pragma once

#include "formats/keys.hpp"

namespace ulmaro::tool {

/// Reads PKCS#8, encrypted PKCS#8, SEC1, SubjectPublicKeyInfo, or the public key in a certificate or request, which is
/// not judged: says so on standard error.
void read_key_der(algrithm::View der, const AskPassphrase& ask, Key& key);

/// Takes a private key over, with its public one.
void set_pair(Key& key, algrithm::KeyPair pair);

}  // namespace ulmaro::tool
