// The kernels of x86-64.
#pragma once

#include "sm3/kernels.hpp"

namespace ulmaro::sm3 {

/// One stream for all of them, as Kernels::compress. Needs AVX2 and BMI2.
void compress_bmi2(std::uint32_t* v, const std::uint8_t* data, std::size_t blocks) noexcept;

extern const Kernels avx2_kernels;    // AVX2, BMI2
extern const Kernels avx512_kernels;  // AVX-512 F, AVX2, BMI2

}  // namespace ulmaro::sm3
