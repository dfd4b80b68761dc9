// Byte strings in tests: hexadecimal text, a fixed pattern, big-endian words.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace ulmaro::test {

using Bytes = std::vector<unsigned char>;

inline Bytes from_hex(std::string_view text) {
    const auto digit = [](char c) { return c <= '9' ? c - '0' : (c | 0x20) - 'a' + 10; };
    Bytes bytes;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        bytes.push_back(static_cast<unsigned char>(digit(text[i]) * 16 + digit(text[i + 1])));
    }
    return bytes;
}

inline std::string to_hex(std::span<const unsigned char> bytes) {
    std::string text;
    for (const unsigned char b : bytes) {
        text += "0123456789abcdef"[b >> 4];
        text += "0123456789abcdef"[b & 15];
    }
    return text;
}

/// Byte i is 7 i + 3, so neighbouring blocks of 16 or 64 bytes differ.
inline Bytes pattern(std::size_t size) {
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(7 * i + 3);
    return bytes;
}

/// A fixed sequence of bytes that look like nothing else.
struct Sequence {
    std::uint64_t state = 1;

    unsigned char operator()() {
        state = state * 6364136223846793005U + 1442695040888963407U;
        return static_cast<unsigned char>(state >> 56);
    }
};

inline Bytes random_looking(std::size_t size, std::uint64_t seed) {
    Bytes bytes(size);
    Sequence next{seed * 0x9e3779b97f4a7c15U + 1};
    for (unsigned char& b : bytes) b = next();
    return bytes;
}

inline std::vector<unsigned int> be_words(std::span<const unsigned char> bytes) {
    std::vector<unsigned int> words(bytes.size() / 4);
    for (std::size_t i = 0; i < 4 * words.size(); ++i) words[i / 4] = words[i / 4] << 8 | bytes[i];
    return words;
}

inline Bytes be_bytes(std::span<const unsigned int> words) {
    Bytes bytes;
    for (const unsigned int w : words) {
        for (int shift = 24; shift >= 0; shift -= 8) bytes.push_back(static_cast<unsigned char>(w >> shift));
    }
    return bytes;
}

/// The bytes of an object as they are in memory.
template <class T>
std::span<unsigned char> object_bytes(T& object) {
    return {reinterpret_cast<unsigned char*>(&object), sizeof object};
}

template <class T>
Bytes snapshot(const T& object) {
    const auto* first = reinterpret_cast<const unsigned char*>(&object);
    return {first, first + sizeof object};
}

}  // namespace ulmaro::test
