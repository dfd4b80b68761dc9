// The kernels that need more than the base instructions of their architecture; which, sm4/kernels.cpp decides.
#pragma once

#include "sm4/kernels.hpp"

namespace ulmaro::sm4 {

#if defined(__x86_64__)
extern const Kernels x86_aesni_kernels;
extern const Kernels x86_aesni_avx2_kernels;
extern const Kernels x86_vaes_kernels;
extern const Kernels x86_gfni256_kernels;
extern const Kernels x86_gfni512_kernels;
#elif defined(__aarch64__)
extern const Kernels arm_aes_kernels;
extern const Kernels arm_sm4_kernels;
#endif

}  // namespace ulmaro::sm4
