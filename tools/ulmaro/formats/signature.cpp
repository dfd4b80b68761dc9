#include "formats/signature.hpp"

#include <algorithm>
#include <string_view>

#include "formats/der.hpp"
#include "support/hex.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t record_bytes = 64;
constexpr std::size_t room_for_der = 80;

Signature from_record(std::span<const unsigned char> bytes) {
    if (bytes.size() != record_bytes) throw FormatError("not a signature record of 64 bytes");
    return Signature(bytes.first<record_bytes>());
}

Signature from_der(std::span<const unsigned char> bytes) {
    DerReader top(bytes);
    DerReader pair = top.enter();
    top.finish();
    std::array<unsigned char, record_bytes> record;
    std::ranges::copy(pair.integer(), record.begin());
    std::ranges::copy(pair.integer(), record.begin() + 32);
    pair.finish();
    return Signature(record);
}

Signature from_digits(std::span<const unsigned char> bytes) {
    std::string_view digits(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    digits = digits.substr(0, digits.find_last_not_of(" \t\r\n") + 1);
    std::array<unsigned char, record_bytes> record;
    if (!from_hex(digits, record)) throw FormatError("not a signature of 128 hexadecimal digits");
    return Signature(record);
}

}  // namespace

Signature read_signature(std::span<const unsigned char> bytes, SignatureFormat format) {
    switch (format) {
        case SignatureFormat::raw:
            return from_record(bytes);
        case SignatureFormat::hex:
            return from_digits(bytes);
        case SignatureFormat::der:
            break;
    }
    return from_der(bytes);
}

SecretBuffer write_signature(const Signature& signature, SignatureFormat format) {
    const auto record = signature.bytes();
    if (format == SignatureFormat::hex) {
        SecretBuffer out(2 * record_bytes + 1);
        write_hex(record, out.span().first(2 * record_bytes));
        out.data()[2 * record_bytes] = '\n';
        return out;
    }
    DerWriter der(room_for_der);
    if (format == SignatureFormat::raw) {
        der.raw(record);
    } else {
        der.integer(record.last<32>());
        der.integer(record.first<32>());
        der.wrap(der_sequence, 0);
    }
    return copy_of(der.bytes());
}

}  // namespace ulmaro::tool
