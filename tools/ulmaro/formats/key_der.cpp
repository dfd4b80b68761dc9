#include "formats/key_der.hpp"

#include <algorithm>
#include <string_view>
#include <utility>

#include "formats/pbes2.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::string_view ec_public_key_oid("\x2A\x86\x48\xCE\x3D\x02\x01", 7);
/// The curve; the same number, and three below it for single uses, also names the algorithm in some keys.
constexpr std::string_view sm2_oid("\x2A\x81\x1C\xCF\x55\x01\x82\x2D", 8);

constexpr std::size_t scalar_bytes = 32;
constexpr std::size_t point_bytes = 64;
constexpr int implicit_public_key = 0x81;  // [1] IMPLICIT BIT STRING

std::string_view text(std::span<const unsigned char> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

bool names_sm2(std::string_view oid) {
    return oid == sm2_oid ||
           (oid.size() == sm2_oid.size() + 1 && oid.starts_with(sm2_oid) && oid.back() >= 1 && oid.back() <= 3);
}

void read_curve(DerReader& from) {
    if (from.next_is(der_sequence))
        throw FormatError("a key with explicit curve parameters; only the named curve is supported");
    if (text(from.take(der_oid)) != sm2_oid) throw FormatError("a key of another curve");
}

void read_algorithm(DerReader algorithm) {
    const std::string_view oid = text(algorithm.take(der_oid));
    const bool implied = names_sm2(oid);
    if (!implied && oid != ec_public_key_oid) throw FormatError("a key of another algorithm");
    if (implied && algorithm.next_is(der_null)) {
        algorithm.take(der_null);
    } else if (!implied || !algorithm.done()) {
        read_curve(algorithm);
    }
    algorithm.finish();
}

/// d of a key in DER. Some keys lack the leading zero bytes that the standard requires, and others have more.
void set_scalar(Key& key, std::span<const unsigned char> d) {
    SecretBuffer padded(scalar_bytes);
    const std::size_t n = std::min(d.size(), scalar_bytes);
    unsigned beyond = 0;
    for (const unsigned char byte : d.first(d.size() - n)) beyond |= byte;
    if (beyond != 0) throw FormatError("a private key out of range");
    std::ranges::fill(padded.span(), 0);
    std::ranges::copy(d.last(n), padded.data() + (scalar_bytes - n));
    set_secret(key, padded.span());
}

/// The record x || y is a point too, but not in DER.
PublicKey read_encoded_point(std::span<const unsigned char> bytes) {
    return read_point(bytes.size() == point_bytes ? bytes.first(0) : bytes);
}

void compare_public(const Key& key, std::span<const unsigned char> bytes) {
    if (read_encoded_point(bytes) != key.point) {
        throw FormatError("the public key does not belong to the private key");
    }
}

/// ECPrivateKey. The curve may be missing where PKCS#8 has named it before.
void read_sec1(DerReader ec, bool curve_known, Key& key) {
    if (ec.small_integer() != 1) throw FormatError("a key of an unknown version");
    const auto d = ec.take(der_octet_string);
    if (ec.next_is(der_context(0))) {
        DerReader parameters = ec.enter(der_context(0));
        read_curve(parameters);
        parameters.finish();
    } else if (!curve_known) {
        throw FormatError("a key without a curve");
    }
    set_scalar(key, d);
    if (ec.next_is(der_context(1))) {
        DerReader inner = ec.enter(der_context(1));
        compare_public(key, inner.bits());
        inner.finish();
    }
    ec.finish();
}

/// SET OF Attribute (RFC 5280 A.1), ignored here: each an OBJECT IDENTIFIER and a set of values.
void read_attributes(DerReader attributes) {
    while (!attributes.done()) {
        DerReader attribute = attributes.enter();
        attribute.oid();
        for (DerReader values = attribute.enter(der_set); !values.done();) values.skip();
        attribute.finish();
    }
}

/// PrivateKeyInfo (RFC 5208), version 0, and OneAsymmetricKey (RFC 5958), version 1, which may name the public key.
void read_pkcs8(DerReader info, Key& key) {
    const unsigned version = info.small_integer();
    if (version > 1) throw FormatError("a key of an unknown version");
    read_algorithm(info.enter());
    DerReader wrapped(info.take(der_octet_string));
    read_sec1(wrapped.enter(), true, key);
    wrapped.finish();
    if (info.next_is(der_context(0))) read_attributes(info.enter(der_context(0)));
    if (version == 1 && info.next_is(implicit_public_key)) compare_public(key, info.bits(implicit_public_key));
    info.finish();
}

void read_public_key_info(DerReader info, Key& key) {
    read_algorithm(info.enter());
    set_point(key, read_encoded_point(info.bits()));
    info.finish();
}

void write_algorithm(DerWriter& out) {
    const std::size_t before = out.mark();
    out.oid(sm2_oid);
    out.oid(ec_public_key_oid);
    out.wrap(der_sequence, before);
}

}  // namespace

void read_key_der(std::span<const unsigned char> der, const AskPassphrase& ask, Key& key) {
    DerReader top(der);
    const DerReader inside = top.enter();
    top.finish();
    DerReader probe = inside;  // the second element shows which structure it is
    if (inside.next_is(der_integer)) {
        probe.integer();
        if (probe.next_is(der_sequence)) return read_pkcs8(inside, key);
        return read_sec1(inside, false, key);
    }
    probe.take(der_sequence);
    if (!probe.next_is(der_octet_string)) return read_public_key_info(inside, key);
    const SecretBuffer passphrase = ask();
    const SecretBuffer plain = read_encrypted(der, passphrase.span());
    try {
        DerReader wrapped(plain.span());
        DerReader info = wrapped.enter();
        wrapped.finish();
        read_pkcs8(info, key);
    } catch (const FormatError& error) {
        // One wrong passphrase in 256 leaves a padding that looks right.
        throw FormatError(std::string("wrong passphrase, or in the decrypted key: ") + error.what());
    }
}

void write_pkcs8(DerWriter& out, const Key& key) {
    const std::size_t outer = out.mark();
    out.bits(uncompressed(key.point));
    out.wrap(der_context(1), outer);
    out.element(der_octet_string, key.secret->bytes());
    out.small_integer(1);
    out.wrap(der_sequence, outer);
    out.wrap(der_octet_string, outer);
    write_algorithm(out);
    out.small_integer(0);
    out.wrap(der_sequence, outer);
}

void write_public_key_info(DerWriter& out, const PublicKey& point) {
    const std::size_t outer = out.mark();
    out.bits(uncompressed(point));
    write_algorithm(out);
    out.wrap(der_sequence, outer);
}

std::array<unsigned char, 65> uncompressed(const PublicKey& point) {
    std::array<unsigned char, 65> bytes{4};
    std::ranges::copy(point.bytes(), bytes.begin() + 1);
    return bytes;
}

PublicKey read_point(std::span<const unsigned char> bytes) {
    if (bytes.size() == 33 && (bytes[0] == 2 || bytes[0] == 3))
        throw FormatError("compressed points are not supported");
    if (bytes.size() == 65 && bytes[0] == 4) bytes = bytes.subspan(1);
    if (bytes.size() != point_bytes) throw FormatError("a public key that is not 04 || x || y");
    return PublicKey(bytes.first<point_bytes>());
}

void set_secret(Key& key, std::span<const unsigned char> d) {
    if (d.size() != scalar_bytes) throw FormatError("a private key that is not 32 bytes");
    PrivateKey secret(d.first<scalar_bytes>());
    if (!usable(secret)) throw FormatError("a private key out of range");
    key.point = curve().public_key(secret);
    key.secret = std::move(secret);
}

void set_point(Key& key, const PublicKey& point) {
    if (!curve().contains(point)) throw FormatError("a public key that is not on the curve");
    key.point = point;
}

}  // namespace ulmaro::tool
