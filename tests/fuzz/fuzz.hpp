// Shared by the targets in this folder. A target is a function of one arbitrary input that compares its room with that
// room's one oracle. libFuzzer searches for inputs (start.cpp); ctest runs the same function on the committed corpus
// and on inputs from a fixed seed (replay.cpp).
#pragma once

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <limits>

#include "support/bytes.hpp"

namespace ulmaro::fuzz {

using namespace test;

/// An input. Numbers are taken from its end and byte strings from its beginning, so that seed files are readable; past
/// its end come zeros.
class Data {
public:
    explicit Data(std::span<const unsigned char> input) : left_(input) {}

    bool empty() const { return left_.empty(); }

    /// In [least, most], from as many bytes as the range needs.
    template <class T>
    T between(T least, T most) {
        const std::uint64_t range = static_cast<std::uint64_t>(most) - static_cast<std::uint64_t>(least);
        std::uint64_t r = 0;
        for (unsigned bit = 0; bit < 64 && range >> bit != 0 && !left_.empty(); bit += 8) {
            r = r << 8 | left_.back();
            left_ = left_.first(left_.size() - 1);
        }
        if (range + 1 != 0) r %= range + 1;
        return static_cast<T>(static_cast<std::uint64_t>(least) + r);
    }
    std::size_t up_to(std::size_t most) { return between<std::size_t>(0, most); }
    bool flip() { return up_to(1) != 0; }
    /// True one time in `times`.
    bool rarely(std::size_t times) { return up_to(times - 1) == times - 1; }
    template <class T>
    T any() {
        return between(std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
    }
    template <class T>
    auto& one_of(T&& list) {
        return list[up_to(std::size(list) - 1)];
    }
    template <class T>
    T one_of(std::initializer_list<T> list) {
        return list.begin()[up_to(list.size() - 1)];
    }

    /// Exactly `size` bytes: the sanitizer sees every access beyond them.
    Bytes take(std::size_t size) {
        const std::size_t there = std::min(size, left_.size());
        Bytes bytes(left_.begin(), left_.begin() + static_cast<std::ptrdiff_t>(there));
        left_ = left_.subspan(there);
        bytes.resize(size);
        return bytes;
    }

    Bytes rest() { return take(left_.size()); }

private:
    std::span<const unsigned char> left_;
};

/// The target.
void run(Data& data);
/// Cases too many for a seed and too rare for chance; run only by the replay.
void run_edges();

/// The input being run, for the report.
inline std::string current;

inline void require(bool holds, const char* what) {
    if (holds) return;
    std::fprintf(stderr, "\nDoes not hold: %s\n%s\n", what, current.c_str());
    std::abort();
}

/// `size` bytes from a few: a piece of the input over and over, slightly different each time. Take the rest of the
/// input last, or every choice after it is the first one.
inline Bytes take_spread(Data& data, std::size_t size) {
    const Bytes piece = data.take(std::clamp<std::size_t>(data.any<std::uint8_t>(), 1, size + 1));
    Bytes bytes(size);
    for (std::size_t i = 0; i < size; ++i) bytes[i] = static_cast<unsigned char>(piece[i % piece.size()] + i / 64);
    return bytes;
}

/// At most `most` bytes.
inline Bytes take_message(Data& data, std::size_t most) { return take_spread(data, data.up_to(most)); }

inline bool equal(std::span<const unsigned char> a, std::span<const unsigned char> b) {
    return std::ranges::equal(a, b);
}

inline bool is_zero(std::span<const unsigned char> bytes) {
    return std::ranges::all_of(bytes, [](unsigned char b) { return b == 0; });
}

inline int length(std::span<const unsigned char> bytes) { return static_cast<int>(bytes.size()); }

}  // namespace ulmaro::fuzz
