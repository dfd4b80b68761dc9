#include "support/hex.hpp"

#include <algorithm>
#include <functional>

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

std::optional<SecretBuffer> decoded_text(std::string_view text) {
    const auto is_space = [](char c) { return c == ' ' || (c >= '\t' && c <= '\r'); };
    // Bytes that are no text are most often seen to be none at once, before a copy is made.
    if (!std::ranges::all_of(text, [&](char c) { return is_space(c) || (c > ' ' && c <= 'z'); })) return std::nullopt;
    SecretBuffer digits(text.size());
    const auto end = std::ranges::copy_if(text, digits.data(), std::not_fn(is_space)).out;
    digits.shrink(static_cast<std::size_t>(end - digits.data()));
    if (digits.size() == 0) return std::nullopt;
    SecretBuffer bytes(digits.size() / 2);
    if (from_hex(text_of(digits.span()), bytes.span())) return bytes;
    return algrithm::attempt([&] { return algrithm::from_base64(text_of(digits.span())); });
}

}  // namespace ulmaro::tool
