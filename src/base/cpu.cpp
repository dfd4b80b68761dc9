#include "base/cpu.hpp"

#if defined(__x86_64__)
#include <cpuid.h>
#elif defined(__aarch64__)
#include <sys/auxv.h>
#endif

namespace ulmaro {

namespace {

#if defined(__x86_64__)

constexpr bool has_bits(unsigned value, unsigned bits) { return (value & bits) == bits; }

/// The register state that the operating system saves; valid only where cpuid reports OSXSAVE.
unsigned saved_state() {
    unsigned low, high;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(0));
    return low;
}

CpuFeatures detect() {
    CpuFeatures f;
    unsigned a, b, c, d;
    if (!__get_cpuid(1, &a, &b, &c, &d)) return f;
    f.ssse3 = has_bits(c, 1u << 9);
    f.sse41 = has_bits(c, 1u << 19);
    f.aes = has_bits(c, 1u << 25);

    const unsigned state = has_bits(c, 1u << 27) ? saved_state() : 0;
    const bool ymm_saved = has_bits(state, 0x06);
    const bool zmm_saved = has_bits(state, 0xe6);
    f.avx = ymm_saved && has_bits(c, 1u << 28);

    if (!__get_cpuid_count(7, 0, &a, &b, &c, &d)) return f;
    f.bmi2 = has_bits(b, 1u << 8);
    f.adx = has_bits(b, 1u << 19);
    f.avx2 = f.avx && has_bits(b, 1u << 5);
    f.gfni = has_bits(c, 1u << 8);
    f.vaes = f.avx && has_bits(c, 1u << 9);
    f.avx512 = f.avx2 && zmm_saved && has_bits(b, 1u << 16 | 1u << 17 | 1u << 30 | 1u << 31);
    f.avx512_ifma = f.avx512 && has_bits(b, 1u << 21);
    f.avx_vnni = f.avx2 && __get_cpuid_count(7, 1, &a, &b, &c, &d) && has_bits(a, 1u << 4);
    return f;
}

#elif defined(__aarch64__)

// Bits of AT_HWCAP; older C library headers do not define all of them.
constexpr unsigned long hwcap_aes = 1ul << 3;
constexpr unsigned long hwcap_pmull = 1ul << 4;
constexpr unsigned long hwcap_sha3 = 1ul << 17;
constexpr unsigned long hwcap_sm3 = 1ul << 18;
constexpr unsigned long hwcap_sm4 = 1ul << 19;

CpuFeatures detect() {
    const unsigned long hwcap = getauxval(AT_HWCAP);
    CpuFeatures f;
    f.neon = true;  // part of the base architecture
    f.aes = (hwcap & hwcap_aes) != 0;
    f.pmull = (hwcap & hwcap_pmull) != 0;
    f.sha3 = (hwcap & hwcap_sha3) != 0;
    f.sm3 = (hwcap & hwcap_sm3) != 0;
    f.sm4 = (hwcap & hwcap_sm4) != 0;
    return f;
}

#else

CpuFeatures detect() { return {}; }

#endif

}  // namespace

const CpuFeatures& cpu_features() noexcept {
    static const CpuFeatures features = detect();
    return features;
}

std::span<const CpuFeatureName> cpu_feature_names() noexcept {
    const CpuFeatures& f = cpu_features();
#if defined(__x86_64__)
    static const CpuFeatureName names[] = {
        {"ssse3", f.ssse3},
        {"sse4.1", f.sse41},
        {"aes", f.aes},
        {"avx", f.avx},
        {"avx2", f.avx2},
        {"bmi2", f.bmi2},
        {"adx", f.adx},
        {"vaes", f.vaes},
        {"gfni", f.gfni},
        {"avx512", f.avx512},
        {"avx512-ifma", f.avx512_ifma},
        {"avx-vnni", f.avx_vnni},
    };
    return names;
#elif defined(__aarch64__)
    static const CpuFeatureName names[] = {
        {"neon", f.neon}, {"aes", f.aes}, {"pmull", f.pmull}, {"sha3", f.sha3}, {"sm3", f.sm3}, {"sm4", f.sm4},
    };
    return names;
#else
    static_cast<void>(f);
    return {};
#endif
}

}  // namespace ulmaro
