// Constant-time selection from a table of points without explicit vector instructions.
#pragma once

#include <cstddef>

#include "u256/limbs.hpp"

namespace ulmaro::u256 {

/// F plus select, which sets r = table[index] and reads the whole table. Entries provide their own assign_if.
template <typename F>
struct WithSelect : F {
    using F::F;

    template <typename T, std::size_t N>
    static void select(T& r, const T (&table)[N], std::uint32_t index) noexcept {
        r = table[0];
        for (std::uint32_t i = 1; i < N; ++i) {
            const std::uint64_t difference = i ^ index;
            assign_if(mask_from_bit((difference - 1) >> 63), r, table[i]);
        }
    }
};

}  // namespace ulmaro::u256
