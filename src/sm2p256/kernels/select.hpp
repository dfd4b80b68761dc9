// Constant-time selection from a table of points without vector instructions of its own.
#pragma once

#include <cstddef>

#include "sm2p256/point.hpp"

namespace ulmaro::sm2p256 {

/// F with select: r = table[index], reading the whole table.
template <typename F>
struct WithSelect : F {
    template <typename T, std::size_t N>
    static void select(T& r, const T (&table)[N], std::uint32_t index) noexcept {
        r = table[0];
        for (std::uint32_t i = 1; i < N; ++i) {
            const std::uint64_t difference = i ^ index;
            assign_if(mask_from_bit((difference - 1) >> 63), r, table[i]);
        }
    }
};

}  // namespace ulmaro::sm2p256
