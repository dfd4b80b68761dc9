// Multiples of points on the recommended curve on aarch64: [k]G, [k]P and [s]G + [t]P.
// Shapes as in sm2p256/kernels.hpp: 4 limbs per number, any scalars, P on the curve and reduced; r may be P.
#include "sm2p256/kernels.hpp"
#include "sm2p256/kernels/arm_field.hpp"
#include "sm2p256/multiply.hpp"
#include "u256/arm_select.hpp"

namespace ulmaro::sm2p256 {

using Field = u256::WithNeonSelect<ArmField>;

constinit const Kernels native_kernels = {"arm-base",
                                          4096,
                                          multiply_base<Field>,
                                          multiply_base_and_invert<Field>,
                                          multiply_point<Field>,
                                          multiply_base_and_point<Field>,
                                          multiply_add_vartime<Field>};

}  // namespace ulmaro::sm2p256
