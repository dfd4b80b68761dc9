// The multiplications, once for each implementation of arithmetic modulo the prime. Every kernel gives the same
// results; they differ in what the processor must support.
#pragma once

#include <cstddef>
#include <span>

#include "ecp256/point.hpp"
#include "u256/kernel_choice.hpp"

namespace ulmaro::ecp256 {

/// The contracts are those of the templates in multiply.hpp.
struct Kernels {
    const char* name;
    std::size_t stack;  // most bytes used below the caller's frame
    Mask (*multiply_point)(const Curve& curve, const Affine& p, const U256& k, Jacobian& total) noexcept;
    Mask (*multiply_both_vartime)(const Curve& curve, const Affine& g, const U256& s, const Affine& p, const U256& t,
                                  Jacobian& total) noexcept;
};

/// For any processor; not built on 64-bit Arm.
extern const Kernels portable_kernels;
/// Uses this architecture's carry chains; on x86-64 it needs BMI2, ADX and AVX2.
extern const Kernels native_kernels;

/// The kernels that this processor can run, best first; the last runs on every processor of the architecture.
inline std::span<const Kernels* const> supported_kernels() noexcept {
    return u256::limb_kernels<Kernels, native_kernels, portable_kernels>().all();
}

/// The best of them.
inline const Kernels& active_kernels() noexcept {
    return u256::limb_kernels<Kernels, native_kernels, portable_kernels>().best();
}

}  // namespace ulmaro::ecp256
