#include "ecp256/kernels.hpp"
#include "ecp256/multiply.hpp"
#include "u256/x86_montgomery.hpp"
#include "u256/x86_select.hpp"

namespace ulmaro::ecp256 {

using Field = u256::WithAvx2Select<u256::Residues<u256::X86Chains>>;

constinit const Kernels native_kernels = {"x86-adx", 6144, multiply_point<Field>, multiply_both_vartime<Field>};

}  // namespace ulmaro::ecp256
