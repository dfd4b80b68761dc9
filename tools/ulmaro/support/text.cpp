#include "support/text.hpp"

#include <cstdio>

namespace ulmaro::tool {
namespace {

/// Bytes of the printable character that text begins with; 0 when it begins with none.
std::size_t character(std::string_view text) {
    const auto byte = [&](std::size_t i) -> unsigned { return static_cast<unsigned char>(text[i]); };
    if (byte(0) < 0x80) return byte(0) >= 0x20 && byte(0) != 0x7f ? 1 : 0;
    const std::size_t length = byte(0) >= 0xf0 ? 4 : byte(0) >= 0xe0 ? 3 : 2;
    if (byte(0) < 0xc2 || byte(0) > 0xf4 || text.size() < length) return 0;
    unsigned code = byte(0) & (0x7fU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(i) & 0xc0) != 0x80) return 0;
        code = code << 6 | (byte(i) & 0x3f);
    }
    constexpr unsigned least[] = {0, 0, 0xa0, 0x800, 0x10000};  // from 0x80 to 0x9f there are control characters
    const bool surrogate = code >= 0xd800 && code < 0xe000;
    return code >= least[length] && code < 0x110000 && !surrogate ? length : 0;
}

std::string octal(char c) {
    const unsigned value = static_cast<unsigned char>(c);
    const auto digit = [&](unsigned shift) { return static_cast<char>('0' + (value >> shift & 7)); };
    return {'\\', digit(6), digit(3), digit(0)};
}

}  // namespace

std::string printable(std::string_view text) {
    std::string out;
    while (!text.empty()) {
        const std::size_t length = character(text);
        if (length != 0) {
            out += text.substr(0, length);
        } else {
            const char c = text.front();
            out += c == '\n' ? "\\n" : c == '\r' ? "\\r" : c == '\t' ? "\\t" : octal(c);
        }
        text.remove_prefix(length != 0 ? length : 1);
    }
    return out;
}

std::string json_string(std::string_view text) {
    std::string out = "\"";
    while (!text.empty()) {
        const std::size_t length = character(text);
        const auto byte = static_cast<unsigned char>(text.front());
        if (length == 0) {
            constexpr char digits[] = "0123456789abcdef";
            out += {'\\', 'u', byte < 0x80 ? '0' : 'd', byte < 0x80 ? '0' : 'c', digits[byte >> 4], digits[byte & 15]};
        } else {
            if (byte == '"' || byte == '\\') out += '\\';
            out += text.substr(0, length);
        }
        text.remove_prefix(length != 0 ? length : 1);
    }
    return out + '"';
}

void complain(const std::string& message) {
    std::fflush(stdout);
    std::fprintf(stderr, "ulmaro: %s\n", printable(message).c_str());
}

}  // namespace ulmaro::tool
