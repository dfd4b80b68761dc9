#include "formats/signature.hpp"

#include <algorithm>
#include <string_view>

#include "formats/der.hpp"
#include "support/hex.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t record_bytes = sizeof(ECC_SIGNATURE);
constexpr std::size_t room_for_der = 80;

ECC_SIGNATURE from_record(std::span<const unsigned char> bytes) {
    if (bytes.size() != record_bytes) throw FormatError("not a signature record of 64 bytes");
    ECC_SIGNATURE signature;
    std::ranges::copy(bytes.first(32), signature.r);
    std::ranges::copy(bytes.last(32), signature.s);
    return signature;
}

std::array<unsigned char, record_bytes> to_record(const ECC_SIGNATURE& signature) {
    std::array<unsigned char, record_bytes> bytes;
    std::ranges::copy(signature.r, bytes.begin());
    std::ranges::copy(signature.s, bytes.begin() + 32);
    return bytes;
}

ECC_SIGNATURE from_der(std::span<const unsigned char> bytes) {
    DerReader top(bytes);
    DerReader pair = top.enter();
    top.finish();
    ECC_SIGNATURE signature;
    std::ranges::copy(pair.integer(), signature.r);
    std::ranges::copy(pair.integer(), signature.s);
    pair.finish();
    return signature;
}

ECC_SIGNATURE from_digits(std::span<const unsigned char> bytes) {
    std::string_view digits(reinterpret_cast<const char*>(bytes.data()), bytes.size());
    digits = digits.substr(0, digits.find_last_not_of(" \t\r\n") + 1);
    std::array<unsigned char, record_bytes> record;
    if (!from_hex(digits, record)) throw FormatError("not a signature of 128 hexadecimal digits");
    return from_record(record);
}

}  // namespace

ECC_SIGNATURE read_signature(std::span<const unsigned char> bytes, SignatureFormat format) {
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

SecretBuffer write_signature(const ECC_SIGNATURE& signature, SignatureFormat format) {
    const auto record = to_record(signature);
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
        der.integer(std::to_array(signature.s));
        der.integer(std::to_array(signature.r));
        der.wrap(der_sequence, 0);
    }
    return copy_of(der.bytes());
}

}  // namespace ulmaro::tool
