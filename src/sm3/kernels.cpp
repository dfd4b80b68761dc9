#include "sm3/kernels.hpp"

#include "base/cpu.hpp"
#include "sm3/kernels/portable.hpp"
#if defined(__x86_64__)
#include "sm3/kernels/x86.hpp"
#elif defined(__aarch64__)
#include "sm3/kernels/arm.hpp"
#endif

namespace ulmaro::sm3 {
namespace {

struct Supported {
    const Kernels* list[4];
    std::size_t count = 0;

    Supported() noexcept {
        [[maybe_unused]] const CpuFeatures& cpu = cpu_features();
#if defined(__x86_64__)
        const bool avx2 = cpu.avx2 && cpu.bmi2;
        if (avx2 && cpu.avx512) list[count++] = &avx512_kernels;
        if (avx2) list[count++] = &avx2_kernels;
#elif defined(__aarch64__)
        if (cpu.sm3) list[count++] = &arm_sm3_kernels;
        if (cpu.neon) list[count++] = &neon_kernels;
#endif
        list[count++] = &portable_kernels;
    }
};

}  // namespace

std::span<const Kernels* const> supported_kernels() noexcept {
    static const Supported supported;
    return {supported.list, supported.count};
}

const Kernels& active_kernels() noexcept {
    static const Kernels& best = *supported_kernels().front();
    return best;
}

}  // namespace ulmaro::sm3
