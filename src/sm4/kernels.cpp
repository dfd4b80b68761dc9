#include "sm4/kernels.hpp"

#include <array>

#include "sm4/kernels/portable.hpp"

namespace ulmaro::sm4 {
namespace {

constexpr std::array<const Kernels*, 1> kSupported{&portable_kernels};

}  // namespace

std::span<const Kernels* const> supported_kernels() noexcept { return kSupported; }

const Kernels& active_kernels() noexcept { return *kSupported.front(); }

}  // namespace ulmaro::sm4
