#include "formats/ciphertext.hpp"

#include <algorithm>

#include "support/hex.hpp"

namespace ulmaro::tool {
namespace {

using algrithm::View;

constexpr std::size_t head_bytes = 96;  // C1 and C3
constexpr std::size_t record_header_bytes = sizeof(Ulmaro_ECC_CIPHER_BLOB);

Ciphertext checked(Ciphertext ciphertext) {
    if (ciphertext.message_size() > max_carried_message) throw FormatError("a ciphertext that is too long");
    return ciphertext;
}

Ciphertext assemble(std::span<const unsigned char, 64> point, std::span<const unsigned char, 32> hash, View sealed) {
    return checked(Ciphertext::from_parts(point, hash, sealed));
}

Ciphertext read_record(View bytes) {
    if (bytes.size() <= record_header_bytes) throw FormatError("a ciphertext record that is too short");
    std::size_t length = 0;
    for (std::size_t i = 4; i-- > 0;) length = length << 8 | bytes[head_bytes + i];
    const View sealed = bytes.subspan(record_header_bytes);
    if (length != sealed.size()) throw FormatError("a ciphertext record with a wrong length");
    return assemble(bytes.first<64>(), bytes.subspan<64, 32>(), sealed);
}

Ciphertext read_joined(View bytes, bool bare, bool hash_last) {
    if (!bare) {
        if (bytes.empty() || bytes[0] != 4) throw FormatError("a ciphertext that does not begin with 04");
        bytes = bytes.subspan(1);
    }
    if (bytes.size() <= head_bytes) throw FormatError("a ciphertext that is too short");
    const View rest = bytes.subspan(64);
    const View hash = hash_last ? rest.last(32) : rest.first(32);
    return assemble(bytes.first<64>(), hash.first<32>(), rest.subspan(hash_last ? 0 : 32, rest.size() - 32));
}

SecretBuffer write_joined(const Ciphertext& ciphertext, bool bare, bool hash_last) {
    SecretBuffer out((bare ? 0 : 1) + head_bytes + ciphertext.message_size());
    unsigned char* at = out.data();
    const auto append = [&](View bytes) { at = std::ranges::copy(bytes, at).out; };
    if (!bare) *at++ = 4;
    append(ciphertext.c1());
    append(hash_last ? ciphertext.c2() : View(ciphertext.c3()));
    append(hash_last ? View(ciphertext.c3()) : ciphertext.c2());
    return out;
}

bool is_bare(CiphertextFormat format) {
    return format == CiphertextFormat::c1c3c2_bare || format == CiphertextFormat::c1c2c3_bare;
}

bool has_hash_last(CiphertextFormat format) {
    return format == CiphertextFormat::c1c2c3 || format == CiphertextFormat::c1c2c3_bare;
}

Ciphertext read_bytes(View bytes, CiphertextFormat format) {
    if (format == CiphertextFormat::der) return checked(algrithm::ciphertext_from_der(bytes));
    if (format == CiphertextFormat::record) return read_record(bytes);
    return read_joined(bytes, is_bare(format), has_hash_last(format));
}

}  // namespace

Ciphertext read_ciphertext(View bytes, CiphertextFormat format) {
    // Bytes may look like text by chance: it is text if that gives a ciphertext with a point of the curve.
    if (const std::optional<SecretBuffer> decoded = decoded_text(text_of(bytes))) {
        auto ciphertext = algrithm::attempt([&] { return read_bytes(decoded->span(), format); });
        if (ciphertext && curve().contains(PublicKey(ciphertext->c1()))) return std::move(*ciphertext);
    }
    try {
        return read_bytes(bytes, format);
    } catch (const FormatError& error) {
        throw FormatError(error.what() + std::string(tried_forms));
    }
}

SecretBuffer write_ciphertext(const Ciphertext& ciphertext, CiphertextFormat format) {
    if (format == CiphertextFormat::der) return SecretBuffer::copy_of(algrithm::ciphertext_to_der(ciphertext));
    if (format == CiphertextFormat::record) return SecretBuffer::copy_of(ciphertext.bytes());
    return write_joined(ciphertext, is_bare(format), has_hash_last(format));
}

}  // namespace ulmaro::tool
