#include "formats/der.hpp"

#include <mbedtls/asn1.h>
#include <mbedtls/asn1write.h>

#include <algorithm>

#include "support/error.hpp"

namespace ulmaro::tool {
namespace {

/// Bytes of tag and length in the shortest form.
std::size_t shortest_header(std::size_t length) {
    std::size_t n = 2;
    if (length >= 0x80) {
        for (; length != 0; length >>= 8) ++n;
    }
    return n;
}

void written(int result) {
    if (result < 0) throw Failure("the result does not fit its buffer");
}

}  // namespace

std::span<const unsigned char> DerReader::take(int tag) {
    // The parser moves a mutable pointer but writes nothing.
    auto* const start = const_cast<unsigned char*>(rest_.data());
    unsigned char* at = start;
    std::size_t length = 0;
    if (mbedtls_asn1_get_tag(&at, start + rest_.size(), &length, tag) != 0) throw FormatError("not the expected DER");
    const auto header = static_cast<std::size_t>(at - start);
    if (header != shortest_header(length)) throw FormatError("not DER: a length is not in its shortest form");
    const auto contents = rest_.subspan(header, length);
    rest_ = rest_.subspan(header + length);
    return contents;
}

U256 DerReader::integer() {
    auto bytes = take(der_integer);
    if (bytes.empty() || bytes[0] >= 0x80) throw FormatError("not the expected DER: a number is negative or empty");
    if (bytes.size() > 1 && bytes[0] == 0) {
        if (bytes[1] < 0x80) throw FormatError("not DER: a number is not in its shortest form");
        bytes = bytes.subspan(1);
    }
    U256 value{};
    if (bytes.size() > value.size()) throw FormatError("a number has more than 256 bits");
    std::ranges::copy(bytes, value.end() - static_cast<std::ptrdiff_t>(bytes.size()));
    return value;
}

unsigned DerReader::small_integer() {
    const U256 value = integer();
    if (std::any_of(value.begin(), value.end() - 4, [](unsigned char b) { return b != 0; }) || value[28] >= 0x80) {
        throw FormatError("a number is too large");
    }
    unsigned small = 0;
    for (std::size_t i = 28; i < 32; ++i) small = small << 8 | value[i];
    return small;
}

std::span<const unsigned char> DerReader::bits(int tag) {
    const auto contents = take(tag);
    if (contents.empty() || contents[0] != 0) throw FormatError("a bit string does not consist of whole bytes");
    return contents.subspan(1);
}

std::span<const unsigned char> DerReader::oid() {
    const auto contents = take(der_oid);
    bool starts = true;
    for (const unsigned char byte : contents) {
        if (starts && byte == 0x80) throw FormatError("not DER: a number is not in its shortest form");
        starts = byte < 0x80;
    }
    if (contents.empty() || !starts) throw FormatError("not the expected DER: an incomplete object identifier");
    return contents;
}

void DerReader::finish() const {
    if (!done()) throw FormatError("trailing bytes after the data");
}

void DerWriter::wrap(int tag, std::size_t mark_before) {
    written(mbedtls_asn1_write_len(&at_, buffer_.data(), mark() - mark_before));
    written(mbedtls_asn1_write_tag(&at_, buffer_.data(), static_cast<unsigned char>(tag)));
}

void DerWriter::raw(std::span<const unsigned char> bytes) {
    written(mbedtls_asn1_write_raw_buffer(&at_, buffer_.data(), bytes.data(), bytes.size()));
}

void DerWriter::element(int tag, std::span<const unsigned char> contents) {
    const std::size_t before = mark();
    raw(contents);
    wrap(tag, before);
}

void DerWriter::integer(std::span<const unsigned char, 32> value) {
    const std::size_t before = mark();
    const auto first = std::find_if(value.begin(), value.end() - 1, [](unsigned char b) { return b != 0; });
    raw(std::span(first, value.end()));
    if (*first >= 0x80) raw(std::array<unsigned char, 1>{0});
    wrap(der_integer, before);
}

void DerWriter::small_integer(int value) { written(mbedtls_asn1_write_int(&at_, buffer_.data(), value)); }

void DerWriter::bits(std::span<const unsigned char> bytes) {
    const std::size_t before = mark();
    raw(bytes);
    raw(std::array<unsigned char, 1>{0});
    wrap(der_bit_string, before);
}

}  // namespace ulmaro::tool
