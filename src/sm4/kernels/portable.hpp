// The kernel that every processor runs.
#pragma once

#include "sm4/kernels.hpp"

namespace ulmaro::sm4 {

extern const Kernels portable_kernels;

}  // namespace ulmaro::sm4
