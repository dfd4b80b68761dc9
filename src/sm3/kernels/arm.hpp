// The kernels of aarch64.
#pragma once

#include "sm3/kernels.hpp"

namespace ulmaro::sm3 {

extern const Kernels neon_kernels;     // every aarch64
extern const Kernels arm_sm3_kernels;  // FEAT_SM3

}  // namespace ulmaro::sm3
