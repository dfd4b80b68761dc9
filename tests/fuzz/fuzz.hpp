// What the fuzz targets share: drawing from the input, and ending at the first wrong result.
#pragma once

#include <fuzzer/FuzzedDataProvider.h>

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <span>

#include "support/bytes.hpp"

namespace ulmaro::fuzz {

using test::Bytes;
using Data = FuzzedDataProvider;

inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "\nDoes not hold: %s\n", what);
    std::abort();
}

/// Exactly so many bytes, zeros where the input has ended. The sanitizer sees every access beyond them.
inline Bytes take(Data& data, std::size_t size) {
    Bytes bytes(size);
    if (size != 0) data.ConsumeData(bytes.data(), size);
    return bytes;
}

/// So many bytes from a few: a piece of the input over and over, a little different each time. What takes all of the
/// input must come last, or every choice after it is the first one.
inline Bytes take_spread(Data& data, std::size_t size) {
    const Bytes piece = take(data, std::clamp<std::size_t>(data.ConsumeIntegral<std::uint8_t>(), 1, size + 1));
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(piece[i % piece.size()] + i / 64);
    return bytes;
}

/// Up to most bytes.
inline Bytes take_message(Data& data, std::size_t most) {
    return take_spread(data, data.ConsumeIntegralInRange<std::size_t>(0, most));
}

inline bool equal(std::span<const unsigned char> a, std::span<const unsigned char> b) {
    return std::ranges::equal(a, b);
}

inline int length(std::span<const unsigned char> bytes) { return static_cast<int>(bytes.size()); }

}  // namespace ulmaro::fuzz
