// Multiples of points on any curve over a prime below 2^256 on aarch64: [k]P and [s]G + [t]P.
// Shapes as in ecp256/kernels.hpp: 4 limbs per number, any scalars, points reduced; total overlaps no input.
#include "ecp256/kernels.hpp"
#include "ecp256/multiply.hpp"
#include "u256/arm_montgomery.hpp"
#include "u256/arm_select.hpp"

namespace ulmaro::ecp256 {

using Field = u256::WithNeonSelect<u256::Residues<u256::ArmChains>>;

constinit const Kernels native_kernels = {"arm-base", 5632, multiply_point<Field>, multiply_both_vartime<Field>};

}  // namespace ulmaro::ecp256
