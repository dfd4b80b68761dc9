// Bulk compression of SM3. Every kernel does the same work; they differ in the instructions they need.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace ulmaro::sm3 {

/// One way to compress: one stream, and several messages side by side.
///
/// In lanes a row is `lanes` words, one from each message; arrays of rows are aligned to 64 bytes. Expansion is linear,
/// so messages that differ in few words are expanded in full once, and then only their differences.
struct Kernels {
    const char* name;

    /// v is the chaining value, 8 words A..H; data is 64 * blocks bytes, any alignment, and does not overlap v.
    void (*compress)(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept;

    /// A power of two, at most max_lanes; 1 where there is nothing to gain, and then the two functions are null.
    std::size_t lanes;
    /// w is 68 rows: W_16 to W_67 from the first 16.
    void (*expand_lanes)(std::uint32_t* w) noexcept;
    /// v and result are 8 rows of chaining values; result may be v. The words of lane i are
    /// W_j = w[j * row + i] xor common[j * stride]; w is 68 rows, or one where row is 0.
    void (*compress_lanes)(const std::uint32_t* v, std::uint32_t* result, const std::uint32_t* w, std::size_t row,
                           const std::uint32_t* common, std::size_t stride) noexcept;
};

inline constexpr std::size_t max_lanes = 16;

/// Those of this architecture, each named after the architecture and its instructions.
extern const Kernels portable_kernels;
#if defined(__x86_64__)
extern const Kernels x86_avx2_kernels;
extern const Kernels x86_avx512_kernels;
extern const Kernels x86_avx512_wide_kernels;
#elif defined(__aarch64__)
extern const Kernels arm_neon_kernels;
extern const Kernels arm_sm3_kernels;
#endif

/// The kernels that this processor can run, best first; the portable one is always last.
std::span<const Kernels* const> supported_kernels() noexcept;

/// The best of them.
const Kernels& active_kernels() noexcept;

}  // namespace ulmaro::sm3
