// The kernel that every processor runs.
#pragma once

#include "sm4/kernels.hpp"

namespace ulmaro::sm4 {

extern const Kernels portable_kernels;

/// One block of four words (big-endian readings); out may be in.
void encrypt_words(const std::uint32_t* in, std::uint32_t* out, const std::uint32_t* rk) noexcept;
void decrypt_words(const std::uint32_t* in, std::uint32_t* out, const std::uint32_t* rk) noexcept;

}  // namespace ulmaro::sm4
