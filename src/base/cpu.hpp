// What the processor and the operating system together support. Read once, then constant.
#pragma once

#include <span>

namespace ulmaro {

/// Each flag is true only when the instructions may be executed; for vector registers beyond 128 bits the operating
/// system must save them too. Flags of the other architecture are false.
struct CpuFeatures {
    bool aes = false;  // AES round instructions, on either architecture

    bool ssse3 = false;
    bool sse41 = false;
    bool avx = false;
    bool avx2 = false;
    bool bmi2 = false;
    bool adx = false;
    bool vaes = false;         // AES rounds on 256-bit registers
    bool gfni = false;         // the 128-bit forms; wider ones together with avx2 or avx512
    bool avx512 = false;       // F, BW, VL and DQ together
    bool avx512_ifma = false;  // these and IFMA
    bool avx_vnni = false;

    bool neon = false;
    bool pmull = false;
    bool sha3 = false;
    bool sm3 = false;
    bool sm4 = false;
};

struct CpuFeatureName {
    const char* name;
    bool present;
};

/// May be called at any time, before main and from several threads at once.
const CpuFeatures& cpu_features() noexcept;

/// The features of this architecture by name, absent ones included.
std::span<const CpuFeatureName> cpu_feature_names() noexcept;

}  // namespace ulmaro
