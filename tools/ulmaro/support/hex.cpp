#include "support/hex.hpp"

#include <algorithm>

namespace ulmaro::tool {
namespace {

int digit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

void write_hex(std::span<const unsigned char> bytes, std::span<unsigned char> out) {
    constexpr unsigned char hex_digits[] = "0123456789abcdef";
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        out[2 * i] = hex_digits[bytes[i] >> 4];
        out[2 * i + 1] = hex_digits[bytes[i] & 15];
    }
}

std::string to_hex(std::span<const unsigned char> bytes) {
    std::string text(bytes.size() * 2, '\0');
    write_hex(bytes, std::span(reinterpret_cast<unsigned char*>(text.data()), text.size()));
    return text;
}

bool is_hex(std::string_view text) {
    return std::ranges::all_of(text, [](char c) { return digit(c) >= 0; });
}

bool from_hex(std::string_view text, std::span<unsigned char> out) {
    if (text.size() != out.size() * 2) return false;
    for (std::size_t i = 0; i < out.size(); ++i) {
        const int high = digit(text[2 * i]);
        const int low = digit(text[2 * i + 1]);
        if (high < 0 || low < 0) return false;
        out[i] = static_cast<unsigned char>(high << 4 | low);
    }
    return true;
}

}  // namespace ulmaro::tool
