// The kernel that every processor runs.
#pragma once

#include "sm3/kernels.hpp"

namespace ulmaro::sm3 {

/// As Kernels::compress, for kernels that have nothing better for one stream.
void compress_portable(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept;

extern const Kernels portable_kernels;

}  // namespace ulmaro::sm3
