// Bulk compression of SM3. Every kernel does the same work; they differ in what the processor must have.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

namespace ulmaro::sm3 {

/// One way to compress. V is the chaining value, 8 words A..H; data is 64 * blocks bytes, any alignment, apart from v.
struct Kernels {
    const char* name;
    void (*compress)(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept;
};

/// The kernels that this processor can run, best first; the portable one is last and always there.
std::span<const Kernels* const> supported_kernels() noexcept;

/// The best of them.
const Kernels& active_kernels() noexcept;

}  // namespace ulmaro::sm3
