// The kernel that every processor runs.
#pragma once

#include "sm3/kernels.hpp"

namespace ulmaro::sm3 {

extern const Kernels portable_kernels;

}  // namespace ulmaro::sm3
