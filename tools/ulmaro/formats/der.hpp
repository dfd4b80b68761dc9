// DER, strictly: a thin layer over the packaged ASN.1 reader and writer that refuses what DER forbids.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <stdexcept>
#include <string_view>

#include "support/secret.hpp"

namespace ulmaro::tool {

/// Input in a wrong format. The caller that loads the file adds its name.
struct FormatError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

using U256 = std::array<unsigned char, 32>;  ///< big-endian

constexpr int der_integer = 0x02;
constexpr int der_bit_string = 0x03;
constexpr int der_octet_string = 0x04;
constexpr int der_null = 0x05;
constexpr int der_oid = 0x06;
constexpr int der_sequence = 0x30;
constexpr int der_set = 0x31;
constexpr int der_context(int number) { return 0xA0 | number; }

/// Walks over the elements of one level. Every step throws FormatError when the next element is not the expected one
/// or its length is not in the shortest form.
class DerReader {
public:
    explicit DerReader(std::span<const unsigned char> bytes) : rest_(bytes) {}

    bool done() const { return rest_.empty(); }
    bool next_is(int tag) const { return !rest_.empty() && rest_.front() == tag; }

    /// Contents of the next element, which must have this tag.
    std::span<const unsigned char> take(int tag);
    /// Skips the next element, whatever its tag.
    void skip() { take(rest_.empty() ? 0 : rest_.front()); }
    /// The inside of the next element, a SEQUENCE unless the tag says otherwise.
    DerReader enter(int tag = der_sequence) { return DerReader(take(tag)); }
    /// A non-negative INTEGER in its shortest form, at most 256 bits.
    U256 integer();
    /// A non-negative INTEGER below 2^31.
    unsigned small_integer();
    /// The whole bytes of a BIT STRING, whose tag may be an implicit one.
    std::span<const unsigned char> bits(int tag = der_bit_string);
    /// The bytes of an OBJECT IDENTIFIER, each of its numbers complete and in the shortest form.
    std::span<const unsigned char> oid();
    /// Throws when something follows.
    void finish() const;

private:
    std::span<const unsigned char> rest_;
};

/// Builds DER backwards, last element first. wrap() closes a container with the mark() taken before its contents.
class DerWriter {
public:
    explicit DerWriter(std::size_t capacity) : buffer_(capacity), at_(buffer_.data() + capacity) {}

    std::size_t mark() const { return static_cast<std::size_t>(buffer_.data() + buffer_.size() - at_); }
    void wrap(int tag, std::size_t mark_before);

    void raw(std::span<const unsigned char> bytes);
    void element(int tag, std::span<const unsigned char> contents);
    /// A number of 32 bytes, big-endian.
    void integer(std::span<const unsigned char, 32> value);
    void small_integer(int value);
    void bits(std::span<const unsigned char> bytes);
    void oid(std::string_view encoded) { element(der_oid, as_bytes(encoded)); }
    void null() { element(der_null, {}); }

    std::span<const unsigned char> bytes() const { return {at_, mark()}; }

private:
    static std::span<const unsigned char> as_bytes(std::string_view text) {
        return {reinterpret_cast<const unsigned char*>(text.data()), text.size()};
    }

    SecretBuffer buffer_;  // a private key passes through
    unsigned char* at_;
};

}  // namespace ulmaro::tool
