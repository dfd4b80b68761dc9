#include "sm3/kernels.hpp"

#include "base/cpu.hpp"
#include "base/kernel_list.hpp"

namespace ulmaro::sm3 {
namespace {

const KernelList<Kernels>& kernels() noexcept {
    static const KernelList<Kernels> supported = [] {
        [[maybe_unused]] const CpuFeatures& cpu = cpu_features();
        KernelList<Kernels> list;
#if defined(__x86_64__)
        [[maybe_unused]] const bool avx2 = cpu.avx2 && cpu.bmi2;
        [[maybe_unused]] const bool avx512 = avx2 && cpu.avx512;
        // Of the cores with AVX-512, those with AVX-VNNI have five or more integer units and the others four.
        if constexpr (has_kernel("x86-avx512-wide")) list.add_if(avx512 && cpu.avx_vnni, x86_avx512_wide_kernels);
        if constexpr (has_kernel("x86-avx512")) list.add_if(avx512, x86_avx512_kernels);
        if constexpr (has_kernel("x86-avx512-wide")) list.add_if(avx512 && !cpu.avx_vnni, x86_avx512_wide_kernels);
        if constexpr (has_kernel("x86-avx2")) list.add_if(avx2, x86_avx2_kernels);
#elif defined(__aarch64__)
        if constexpr (has_kernel("arm-sm3")) list.add_if(cpu.sm3, arm_sm3_kernels);
        if constexpr (has_kernel("arm-neon")) list.add_if(cpu.neon, arm_neon_kernels);
#endif
        list.add_if(true, portable_kernels);
        return list;
    }();
    return supported;
}

}  // namespace

std::span<const Kernels* const> supported_kernels() noexcept { return kernels().all(); }

const Kernels& active_kernels() noexcept { return kernels().best(); }

}  // namespace ulmaro::sm3
