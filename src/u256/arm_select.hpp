// Constant-time selection from a table of points with the vector instructions of every 64-bit Arm processor.
#pragma once

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

namespace ulmaro::u256 {

/// F plus select, which sets r = table[index] and reads the whole table.
template <typename F>
struct WithNeonSelect : F {
    using F::F;

    template <typename T, std::size_t N>
    static void select(T& r, const T (&table)[N], std::uint32_t index) noexcept {
        constexpr int registers = sizeof(T) / 16;
        const auto* from = reinterpret_cast<const std::uint8_t*>(table);
        const uint32x4_t wanted = vdupq_n_u32(index);
        const uint32x4_t one = vdupq_n_u32(1);
        uint32x4_t position = vdupq_n_u32(0);
        uint8x16_t found[registers] = {};
#pragma GCC unroll 4
        for (std::size_t i = 0; i < N; ++i, from += sizeof(T)) {
            const uint8x16_t here = vreinterpretq_u8_u32(vceqq_u32(position, wanted));
            position = vaddq_u32(position, one);
#pragma GCC unroll 10
            for (int j = 0; j < registers; ++j) found[j] = vbslq_u8(here, vld1q_u8(from + 16 * j), found[j]);
        }
#pragma GCC unroll 10
        for (int j = 0; j < registers; ++j) vst1q_u8(reinterpret_cast<std::uint8_t*>(&r) + 16 * j, found[j]);
    }
};

}  // namespace ulmaro::u256
