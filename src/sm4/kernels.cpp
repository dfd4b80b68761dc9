#include "sm4/kernels.hpp"

#include "base/cpu.hpp"
#include "sm4/kernels/portable.hpp"
#include "sm4/kernels/vector.hpp"

namespace ulmaro::sm4 {
namespace {

struct Supported {
    const Kernels* list[6];
    std::size_t count = 0;

    Supported() noexcept {
        [[maybe_unused]] const CpuFeatures& cpu = cpu_features();
#if defined(__x86_64__)
        if (cpu.gfni && cpu.avx512) list[count++] = &x86_gfni512_kernels;
        if (cpu.gfni && cpu.avx2) list[count++] = &x86_gfni256_kernels;
        if (cpu.aes && cpu.avx2 && cpu.vaes) list[count++] = &x86_vaes_kernels;
        if (cpu.aes && cpu.avx2) list[count++] = &x86_aesni_avx2_kernels;
        if (cpu.aes && cpu.ssse3) list[count++] = &x86_aesni_kernels;
#elif defined(__aarch64__)
        if (cpu.sm4) list[count++] = &arm_sm4_kernels;
        if (cpu.aes) list[count++] = &arm_aes_kernels;
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

}  // namespace ulmaro::sm4
