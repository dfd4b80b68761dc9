#include "ecp256/kernels.hpp"

#include "u256/kernel_choice.hpp"

namespace ulmaro::ecp256 {
namespace {

const KernelList<Kernels>& kernels() noexcept {
    return u256::limb_kernels<Kernels, native_kernels, portable_kernels>();
}

}  // namespace

std::span<const Kernels* const> supported_kernels() noexcept { return kernels().all(); }

const Kernels& active_kernels() noexcept { return kernels().best(); }

}  // namespace ulmaro::ecp256
