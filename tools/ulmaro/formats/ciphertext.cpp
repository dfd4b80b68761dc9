#include "formats/ciphertext.hpp"

#include <algorithm>

#include "formats/der.hpp"
#include "support/sm2.hpp"

namespace ulmaro::tool {
namespace {

using Bytes = std::span<const unsigned char>;

constexpr std::size_t coordinate_bytes = 64;
constexpr std::size_t hash_bytes = 32;
constexpr std::size_t length_at = coordinate_bytes + hash_bytes;
constexpr std::size_t der_overhead = 128;

struct Pieces {
    Bytes point;  ///< x || y
    Bytes hash;
    Bytes sealed;
};

unsigned char* append(unsigned char* at, Bytes bytes) { return std::ranges::copy(bytes, at).out; }

SecretBuffer assemble(const Pieces& pieces) {
    const std::size_t length = pieces.sealed.size();
    if (length == 0) throw FormatError("a ciphertext of an empty message");
    if (length > max_record_message) throw FormatError("a ciphertext that is too long");
    SecretBuffer record(record_header_bytes + length);
    unsigned char* at = append(append(record.data(), pieces.point), pieces.hash);
    for (unsigned shift = 0; shift < 32; shift += 8) *at++ = static_cast<unsigned char>(length >> shift);
    append(at, pieces.sealed);
    return record;
}

Pieces take_apart(Bytes record) {
    return {record.first(coordinate_bytes), record.subspan(coordinate_bytes, hash_bytes),
            record.subspan(record_header_bytes)};
}

SecretBuffer read_record(Bytes bytes) {
    if (bytes.size() <= record_header_bytes) throw FormatError("a ciphertext record that is too short");
    std::size_t length = 0;
    for (std::size_t i = 4; i-- > 0;) length = length << 8 | bytes[length_at + i];
    if (length != bytes.size() - record_header_bytes) throw FormatError("a ciphertext record with a wrong length");
    return assemble(take_apart(bytes));
}

SecretBuffer read_der(Bytes bytes) {
    DerReader top(bytes);
    DerReader parts = top.enter();
    top.finish();
    std::array<unsigned char, coordinate_bytes> point;
    std::ranges::copy(parts.integer(), point.begin());
    std::ranges::copy(parts.integer(), point.begin() + 32);
    const Bytes hash = parts.take(der_octet_string);
    if (hash.size() != hash_bytes) throw FormatError("a ciphertext whose hash is not 32 bytes");
    const Bytes sealed = parts.take(der_octet_string);
    parts.finish();
    return assemble({point, hash, sealed});
}

SecretBuffer read_joined(Bytes bytes, bool bare, bool hash_last) {
    if (!bare) {
        if (bytes.empty() || bytes[0] != 4) throw FormatError("a ciphertext that does not begin with 04");
        bytes = bytes.subspan(1);
    }
    if (bytes.size() <= coordinate_bytes + hash_bytes) throw FormatError("a ciphertext that is too short");
    const Bytes point = bytes.first(coordinate_bytes);
    const Bytes rest = bytes.subspan(coordinate_bytes);
    if (hash_last) return assemble({point, rest.last(hash_bytes), rest.first(rest.size() - hash_bytes)});
    return assemble({point, rest.first(hash_bytes), rest.subspan(hash_bytes)});
}

SecretBuffer write_der(const Pieces& pieces) {
    DerWriter out(der_overhead + pieces.sealed.size());
    U256 x;
    U256 y;
    std::ranges::copy(pieces.point.first(32), x.begin());
    std::ranges::copy(pieces.point.last(32), y.begin());
    out.element(der_octet_string, pieces.sealed);
    out.element(der_octet_string, pieces.hash);
    out.integer(y);
    out.integer(x);
    out.wrap(der_sequence, 0);
    return copy_of(out.bytes());
}

SecretBuffer write_joined(const Pieces& pieces, bool bare, bool hash_last) {
    SecretBuffer out((bare ? 0 : 1) + coordinate_bytes + hash_bytes + pieces.sealed.size());
    unsigned char* at = out.data();
    if (!bare) *at++ = 4;
    at = append(at, pieces.point);
    at = append(at, hash_last ? pieces.sealed : pieces.hash);
    append(at, hash_last ? pieces.hash : pieces.sealed);
    return out;
}

bool is_bare(CiphertextFormat format) {
    return format == CiphertextFormat::c1c3c2_bare || format == CiphertextFormat::c1c2c3_bare;
}

bool has_hash_last(CiphertextFormat format) {
    return format == CiphertextFormat::c1c2c3 || format == CiphertextFormat::c1c2c3_bare;
}

}  // namespace

SecretBuffer read_ciphertext(Bytes bytes, CiphertextFormat format) {
    if (format == CiphertextFormat::der) return read_der(bytes);
    if (format == CiphertextFormat::record) return read_record(bytes);
    return read_joined(bytes, is_bare(format), has_hash_last(format));
}

SecretBuffer write_ciphertext(Bytes record, CiphertextFormat format) {
    if (format == CiphertextFormat::der) return write_der(take_apart(record));
    if (format == CiphertextFormat::record) return copy_of(record);
    return write_joined(take_apart(record), is_bare(format), has_hash_last(format));
}

}  // namespace ulmaro::tool
