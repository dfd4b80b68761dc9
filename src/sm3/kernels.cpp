#include "sm3/kernels.hpp"

#include <array>

#include "sm3/kernels/portable.hpp"

namespace ulmaro::sm3 {
namespace {

constexpr std::array<const Kernels*, 1> kSupported{&portable_kernels};

}  // namespace

std::span<const Kernels* const> supported_kernels() noexcept { return kSupported; }

const Kernels& active_kernels() noexcept { return *kSupported.front(); }

}  // namespace ulmaro::sm3
