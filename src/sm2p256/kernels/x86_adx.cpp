// Multiples of points on the recommended curve on x86-64 with BMI2 and ADX: [k]G, [k]P and [s]G + [t]P.
// Shapes as in sm2p256/kernels.hpp: 4 limbs per number, any scalars, P on the curve and reduced; r may be P.
// The processor has: BMI2, ADX, AVX2.
#include "sm2p256/kernels.hpp"
#include "sm2p256/kernels/x86_field.hpp"
#include "sm2p256/multiply.hpp"
#include "u256/x86_select.hpp"

namespace ulmaro::sm2p256 {
using Field = u256::WithAvx2Select<X86Field>;

constinit const Kernels native_kernels = {"x86-adx",
                                          4096,
                                          multiply_base<Field>,
                                          multiply_base_and_invert<Field>,
                                          multiply_point<Field>,
                                          multiply_base_and_point<Field>,
                                          multiply_add_vartime<Field>};

}  // namespace ulmaro::sm2p256
