// Bytes as text: hexadecimal digits and base64.
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "support/secret.hpp"

namespace ulmaro::tool {

/// Lower-case digits, two for each byte, into out of twice the size of bytes.
void write_hex(std::span<const unsigned char> bytes, std::span<unsigned char> out);

/// The same as a string, for what is not secret.
std::string to_hex(std::span<const unsigned char> bytes);

/// Whether text consists of hexadecimal digits only, of either case. True for the empty text.
bool is_hex(std::string_view text);

/// Decodes exactly out.size() bytes. False, with out unspecified, when text has another length or another character.
bool from_hex(std::string_view text, std::span<unsigned char> out);

/// The bytes of a text that consists of hexadecimal digits, or else of base64, with white space around it and between
/// lines; nothing when it is neither.
std::optional<SecretBuffer> decoded_text(std::string_view text);

/// For messages: what was tried on input in no known form.
constexpr const char* tried_forms = " (tried as bytes, hexadecimal digits and base64)";

/// The text that bytes are.
inline std::string_view text_of(std::span<const unsigned char> bytes) {
    return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

}  // namespace ulmaro::tool
