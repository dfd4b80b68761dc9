// Which kernels are in use, for programs that report them. Not part of the shared library.
#pragma once

#include <span>

namespace ulmaro {

struct KernelName {
    const char* unit;
    const char* name;
};

/// On this machine, one per algorithm; for SM2 that of the recommended curve.
std::span<const KernelName> kernel_names() noexcept;

}  // namespace ulmaro
