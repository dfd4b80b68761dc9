#include "sm2p256/kernels.hpp"
#include "sm2p256/kernels/x86_field.hpp"
#include "sm2p256/multiply.hpp"
#include "u256/x86_select.hpp"

namespace ulmaro::sm2p256 {
using Field = u256::WithAvx2Select<X86Field>;

constinit const Kernels native_kernels = {"x86-adx",
                                          4864,
                                          multiply_base<Field>,
                                          multiply_base_and_invert<Field>,
                                          multiply_point<Field>,
                                          multiply_add_vartime<Field>};

}  // namespace ulmaro::sm2p256
