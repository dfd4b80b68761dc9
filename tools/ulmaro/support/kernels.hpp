// Which kernels the library picked on this machine, in words.
#pragma once

#include <string>

#include "entry/kernel_names.hpp"

namespace ulmaro::tool {

/// "SM2 x86-ifma, SM3 x86-avx512, SM4 x86-gfni512" and the like.
inline std::string kernels_in_use() {
    std::string list;
    for (const KernelName& kernel : kernel_names()) {
        if (!list.empty()) list += ", ";
        list.append(kernel.unit).append(" ").append(kernel.name);
    }
    return list;
}

}  // namespace ulmaro::tool
