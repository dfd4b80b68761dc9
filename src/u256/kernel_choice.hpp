// Which limb kernels this processor can run: the same choice for both curve engines.
#pragma once

#include "base/cpu.hpp"
#include "base/kernel_list.hpp"

namespace ulmaro::u256 {

/// native uses this architecture's carry chains and need not exist on other architectures; portable need not exist on
/// 64-bit Arm, where every processor can run native. ifma is none or one for x86-64. Out of line: the choice is made
/// once, and asked for in many places.
template <typename Kernels, const Kernels& native, const Kernels& portable, const Kernels&... ifma>
[[gnu::noinline]] const KernelList<Kernels>& limb_kernels() noexcept {
    static const KernelList<Kernels> supported = [] {
        KernelList<Kernels> list;
#if defined(__x86_64__)
        [[maybe_unused]] const CpuFeatures& cpu = cpu_features();
        if constexpr (has_kernel("x86-ifma")) {
            (list.add_if(cpu.avx512_ifma && cpu.bmi2 && cpu.adx, ifma), ...);
        }
        if constexpr (has_kernel("x86-adx")) list.add_if(cpu.avx2 && cpu.bmi2 && cpu.adx, native);
#endif
#if defined(__aarch64__)
        list.add_if(true, native);
#else
        list.add_if(true, portable);
#endif
        return list;
    }();
    return supported;
}

}  // namespace ulmaro::u256
