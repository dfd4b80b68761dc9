#include "ecp256/kernels.hpp"

#include "base/cpu.hpp"
#include "base/kernel_list.hpp"

namespace ulmaro::ecp256 {

extern const Kernels portable_kernels;
#if defined(__x86_64__)
extern const Kernels x86_adx_kernels;
#elif defined(__aarch64__)
extern const Kernels arm_kernels;
#endif

namespace {

const KernelList<Kernels>& kernels() noexcept {
    static const KernelList<Kernels> supported = [] {
        [[maybe_unused]] const CpuFeatures& cpu = cpu_features();
        KernelList<Kernels> list;
#if defined(__x86_64__)
        list.add_if(cpu.avx2 && cpu.bmi2 && cpu.adx, x86_adx_kernels);
#elif defined(__aarch64__)
        list.add_if(true, arm_kernels);
#endif
        list.add_if(true, portable_kernels);
        return list;
    }();
    return supported;
}

}  // namespace

std::span<const Kernels* const> supported_kernels() noexcept { return kernels().all(); }

const Kernels& active_kernels() noexcept { return kernels().best(); }

}  // namespace ulmaro::ecp256
