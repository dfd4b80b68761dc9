// OpenSSL as an oracle: SM3, and the key derivation made of it.
#pragma once

#include <openssl/evp.h>

#include "support/bytes.hpp"

namespace ulmaro::test {

inline Bytes openssl_sm3(const Bytes& message) {
    Bytes digest(32);
    EVP_Digest(message.data(), message.size(), digest.data(), nullptr, EVP_sm3(), nullptr);
    return digest;
}

/// GM/T 0003.4 clause 5.4.3: the digests of z || counter. It starts at 1.
inline Bytes openssl_kdf(const Bytes& z, std::size_t size, std::uint32_t counter = 1) {
    Bytes stream;
    for (; stream.size() < size; ++counter) {
        Bytes message = z;
        for (const int shift : {24, 16, 8, 0}) message.push_back(static_cast<unsigned char>(counter >> shift));
        const Bytes digest = openssl_sm3(message);
        stream.insert(stream.end(), digest.begin(), digest.end());
    }
    stream.resize(size);
    return stream;
}

}  // namespace ulmaro::test
