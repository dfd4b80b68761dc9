// SM2 keys of the recommended curve.
#pragma once

#include "base/wipe.hpp"
#include "object.hpp"
#include "parameters.hpp"

namespace ulmaro::provider {

/// A point and, in memory around it, its uncompressed encoding.
struct Point {
    unsigned char form = 4;
    ECC_PUBLIC_KEY xy = {};

    View encoded() const noexcept { return {&form, sizeof *this}; }
};
static_assert(sizeof(Point) == 65);

/// One key or both halves. A private key is never without its public one, unless a copy left that out.
struct KeyPair {
    bool has_public = false;
    bool has_private = false;
    Point public_key;
    ECC_PRIVATE_KEY private_key = {};

    KeyPair() = default;
    KeyPair(const KeyPair&) = default;
    KeyPair& operator=(const KeyPair&) = default;
    ~KeyPair() { secure_wipe(&private_key, sizeof private_key); }
};

struct Key : Object {
    using Object::Object;
    KeyPair pair;
};

/// Computes the public key of a private one that is in range.
void derive_public(KeyPair& pair) noexcept;

/// Whether both coordinates are below p and satisfy the equation: the library by itself would reduce them.
bool is_point(const ECC_PUBLIC_KEY& point) noexcept;

/// The point of an encoding of SEC 1: uncompressed, compressed or hybrid. False for anything else.
bool decode_point(View encoded, ECC_PUBLIC_KEY& point) noexcept;

}  // namespace ulmaro::provider
