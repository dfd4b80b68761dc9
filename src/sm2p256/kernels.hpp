// The multiplications, once for each implementation of the field. Every kernel gives the same results; they differ in
// what the processor must support.
#pragma once

#include <cstddef>
#include <span>

#include "sm2p256/point.hpp"
#include "sm2p256/scalar.hpp"
#include "u256/kernel_choice.hpp"

namespace ulmaro::sm2p256 {

/// The contracts are those of the templates in multiply.hpp.
struct Kernels {
    const char* name;
    std::size_t stack;  // most bytes used below the caller's frame
    Mask (*multiply_base)(Affine& r, const U256& k) noexcept;
    void (*multiply_base_and_invert)(Fe& x, Scalar& inverted, const U256& k) noexcept;
    Mask (*multiply_point)(Affine& r, const Affine& p, const U256& k) noexcept;
    Mask (*multiply_base_and_point)(Affine& base, Affine& r, const Affine& p, const U256& k) noexcept;
    Jacobian (*multiply_add_vartime)(const U256& s, const Affine& p, const U256& t) noexcept;
};

/// For any processor; not built on 64-bit Arm.
extern const Kernels portable_kernels;
/// Uses this architecture's carry chains; on x86-64 it needs BMI2, ADX and AVX2.
extern const Kernels native_kernels;
/// Sums in lanes: for x86-64 with AVX-512 and IFMA besides.
extern const Kernels ifma_kernels;

inline const KernelList<Kernels>& kernel_list() noexcept {
#if defined(__x86_64__)
    return u256::limb_kernels<Kernels, native_kernels, portable_kernels, ifma_kernels>();
#else
    return u256::limb_kernels<Kernels, native_kernels, portable_kernels>();
#endif
}

/// The kernels that this processor can run, best first; the last runs on every processor of the architecture.
inline std::span<const Kernels* const> supported_kernels() noexcept { return kernel_list().all(); }

/// The best of them.
inline const Kernels& active_kernels() noexcept { return kernel_list().best(); }

}  // namespace ulmaro::sm2p256
