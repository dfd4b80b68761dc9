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
    const auto read = [format](View from) {
        return format == SignatureFormat::der ? algrithm::signature_from_der(from) : from_record(from);
    };
    // Bytes may look like text by chance, but then its bytes are too few for a signature.
    if (const std::optional<SecretBuffer> decoded = decoded_text(text_of(bytes))) {
        if (const auto signature = algrithm::attempt([&] { return read(decoded->span()); })) return *signature;
    }
    try {
        return read(bytes);
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
