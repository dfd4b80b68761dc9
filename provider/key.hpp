// SM2 keys of the recommended curve.
#pragma once

#include <array>
#include <optional>

#include "object.hpp"
#include "parameters.hpp"

namespace ulmaro::provider {

using algrithm::PrivateKey;
using algrithm::PublicKey;

/// One key or both halves. A private key is never without its public one, unless a copy left that out.
struct KeyPair {
    std::optional<PublicKey> public_key;
    std::optional<PrivateKey> private_key;

    KeyPair() = default;
    KeyPair(KeyPair&&) noexcept = default;
    KeyPair& operator=(KeyPair&&) noexcept = default;
    KeyPair(const KeyPair& other) : public_key(other.public_key) {
        if (other.private_key) private_key.emplace(other.private_key->bytes());
    }
    KeyPair& operator=(const KeyPair& other) { return *this = KeyPair(other); }
    ~KeyPair() = default;
};

/// The first byte of an encoded point, less the lowest bit of y where that is part of it; SEC 1 clause 2.3.3.
enum Form : unsigned char { compressed = 2, uncompressed = 4, hybrid = 6 };

struct Key : Object {
    using Object::Object;
    KeyPair pair;
    Form form = uncompressed;  // in which the public key is shown
};

/// The public key of a private one that is in range.
PublicKey derive_public(const PrivateKey& key) noexcept;

/// Whether both coordinates are below p and satisfy the equation: the library by itself would reduce them.
bool is_point(const PublicKey& point) noexcept;

struct EncodedPoint {
    std::array<unsigned char, 65> bytes;
    std::size_t size;

    View view() const noexcept { return View(bytes).first(size); }
};
EncodedPoint encode_point(const PublicKey& point, Form form = uncompressed) noexcept;

/// The point of an encoding in any form; refuses anything else.
PublicKey decode_point(const Provider& provider, View encoded);

}  // namespace ulmaro::provider
