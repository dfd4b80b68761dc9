#include "sm2p256/kernels.hpp"

#include "base/cpu.hpp"

namespace ulmaro::sm2p256 {

extern const Kernels portable_kernels;
#if defined(__x86_64__)
extern const Kernels x86_adx_kernels;
#elif defined(__aarch64__)
extern const Kernels arm_kernels;
#endif

std::span<const Kernels* const> supported_kernels() noexcept {
#if defined(__x86_64__)
    static constexpr const Kernels* all[] = {&x86_adx_kernels, &portable_kernels};
    const CpuFeatures& cpu = cpu_features();
    return std::span(all).subspan(cpu.avx2 && cpu.bmi2 && cpu.adx ? 0 : 1);
#elif defined(__aarch64__)
    static constexpr const Kernels* all[] = {&arm_kernels, &portable_kernels};
    return all;
#else
    static constexpr const Kernels* all[] = {&portable_kernels};
    return all;
#endif
}

const Kernels& active_kernels() noexcept { return *supported_kernels().front(); }

}  // namespace ulmaro::sm2p256
