// Which kernels are in use, for programs that say so. No part of the shared library.
#pragma once

#include <span>

namespace ulmaro {

struct KernelName {
    const char* unit;
    const char* name;
};

/// On this machine, one for each unit that has kernels.
std::span<const KernelName> kernel_names() noexcept;

}  // namespace ulmaro
