// The multiplications, once for each way to compute in the field. Every kernel gives the same results; they differ in
// what the processor must have.
#pragma once

#include <cstddef>
#include <span>

#include "sm2p256/point.hpp"
#include "sm2p256/scalar.hpp"

namespace ulmaro::sm2p256 {

/// The functions' contracts are those of the templates in multiply.hpp.
struct Kernels {
    const char* name;
    std::size_t stack;  // bytes that the functions use below their caller's frame, at most
    Mask (*multiply_base)(Affine& r, const U256& k) noexcept;
    void (*multiply_base_and_invert)(Fe& x, Scalar& inverted, const U256& k) noexcept;
    Mask (*multiply_point)(Affine& r, const Affine& p, const U256& k) noexcept;
    Jacobian (*multiply_add_vartime)(const U256& s, const Affine& p, const U256& t) noexcept;
};

/// For any processor; left out on 64-bit Arm.
extern const Kernels portable_kernels;
/// With this architecture's carry chains: on x86-64 only for processors with BMI2, ADX and AVX2.
extern const Kernels native_kernels;

/// The kernels that this processor can run, best first; every processor of the architecture can run the last.
std::span<const Kernels* const> supported_kernels() noexcept;

/// The best of them.
const Kernels& active_kernels() noexcept;

}  // namespace ulmaro::sm2p256
