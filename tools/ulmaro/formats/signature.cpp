#include "formats/signature.hpp"

#include <algorithm>
#include <string_view>

#include "support/hex.hpp"

namespace ulmaro::tool {
namespace {

using algrithm::View;

constexpr std::size_t record_bytes = 64;

Signature from_record(View bytes) {
    if (bytes.size() != record_bytes) throw FormatError("not a signature record of 64 bytes");
    return Signature(bytes.first<record_bytes>());
}

}  // namespace

Signature read_signature(View bytes, SignatureFormat format) {
    const std::optional<SecretBuffer> decoded = decoded_text(text_of(bytes));
    if (decoded) bytes = decoded->span();
    try {
        return format == SignatureFormat::der ? algrithm::signature_from_der(bytes) : from_record(bytes);
    } catch (const FormatError& error) {
        throw FormatError(error.what() + std::string(tried_forms));
    }
}

SecretBuffer write_signature(const Signature& signature, SignatureFormat format) {
    const auto record = signature.bytes();
    if (format == SignatureFormat::hex) {
        SecretBuffer out(2 * record_bytes + 1);
        write_hex(record, out.span().first(2 * record_bytes));
        out.data()[2 * record_bytes] = '\n';
        return out;
    }
    return SecretBuffer::copy_of(format == SignatureFormat::raw ? View(record) : algrithm::signature_to_der(signature));
}

}  // namespace ulmaro::tool
