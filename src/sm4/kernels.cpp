#include "sm4/kernels.hpp"

#include "base/cpu.hpp"
#include "base/kernel_list.hpp"

namespace ulmaro::sm4 {
namespace {

const KernelList<Kernels>& kernels() noexcept {
    static const KernelList<Kernels> supported = [] {
        [[maybe_unused]] const CpuFeatures& cpu = cpu_features();
        KernelList<Kernels> list;
#if defined(__x86_64__)
        if constexpr (has_kernel("x86-gfni512")) list.add_if(cpu.gfni && cpu.avx512, x86_gfni512_kernels);
        if constexpr (has_kernel("x86-gfni256")) list.add_if(cpu.gfni && cpu.avx2, x86_gfni256_kernels);
        if constexpr (has_kernel("x86-vaes")) list.add_if(cpu.aes && cpu.avx2 && cpu.vaes, x86_vaes_kernels);
        if constexpr (has_kernel("x86-aesni-avx2")) list.add_if(cpu.aes && cpu.avx2, x86_aesni_avx2_kernels);
        if constexpr (has_kernel("x86-aesni")) list.add_if(cpu.aes && cpu.ssse3, x86_aesni_kernels);
        if constexpr (has_kernel("x86-ssse3")) list.add_if(cpu.ssse3, x86_ssse3_kernels);
#elif defined(__aarch64__)
        if constexpr (has_kernel("arm-sm4")) list.add_if(cpu.sm4, arm_sm4_kernels);
        if constexpr (has_kernel("arm-aes")) list.add_if(cpu.aes, arm_aes_kernels);
        list.add_if(true, arm_neon_kernels);
#endif
#if !defined(__aarch64__)
        list.add_if(true, portable_kernels);
#endif
        return list;
    }();
    return supported;
}

}  // namespace

std::span<const Kernels* const> supported_kernels() noexcept { return kernels().all(); }

const Kernels& active_kernels() noexcept { return kernels().best(); }

}  // namespace ulmaro::sm4
