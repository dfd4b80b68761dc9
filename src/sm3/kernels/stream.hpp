// One stream, for the kernels that share it: like Kernels::compress.
#pragma once

#include <cstddef>
#include <cstdint>

namespace ulmaro::sm3 {

void compress_portable(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept;

/// Needs NEON.
void compress_neon(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept;

}  // namespace ulmaro::sm3
