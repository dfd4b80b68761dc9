// Hexadecimal text.
#pragma once

#include <cstddef>
#include <span>
#include <string>
#include <string_view>

namespace ulmaro::tool {

/// Lower-case digits, two for each byte, into out of twice the size of bytes.
void write_hex(std::span<const unsigned char> bytes, std::span<unsigned char> out);

/// The same as a string, for what is not secret.
std::string to_hex(std::span<const unsigned char> bytes);

/// Whether text consists of hexadecimal digits only, of either case. True for the empty text.
bool is_hex(std::string_view text);

/// Decodes exactly out.size() bytes. False, with out unspecified, when text has another length or another character.
bool from_hex(std::string_view text, std::span<unsigned char> out);

}  // namespace ulmaro::tool
