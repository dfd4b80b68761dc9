#include "entry/kernel_names.hpp"

#include "sm2p256/kernels.hpp"
#include "sm3/kernels.hpp"
#include "sm4/kernels.hpp"

namespace ulmaro {

std::span<const KernelName> kernel_names() noexcept {
    static const KernelName names[] = {
        {"SM2", sm2p256::active_kernels().name},
        {"SM3", sm3::active_kernels().name},
        {"SM4", sm4::active_kernels().name},
    };
    return names;
}

}  // namespace ulmaro
