// Multiples of points on any curve over a prime below 2^256 on x86-64 with BMI2 and ADX: [k]P and [s]G + [t]P.
// Shapes as in ecp256/kernels.hpp: 4 limbs per number, any scalars, points reduced; total overlaps no input.
// The processor has: BMI2, ADX, AVX2.
#include "ecp256/kernels.hpp"
#include "ecp256/multiply.hpp"
#include "u256/x86_montgomery.hpp"
#include "u256/x86_select.hpp"

namespace ulmaro::ecp256 {

using Field = u256::WithAvx2Select<u256::Residues<u256::X86Chains>>;

constinit const Kernels native_kernels = {"x86-adx", 6144, multiply_point<Field>, multiply_both_vartime<Field>};

}  // namespace ulmaro::ecp256
