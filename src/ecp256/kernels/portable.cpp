#include "ecp256/kernels.hpp"
#include "ecp256/multiply.hpp"
#include "u256/montgomery.hpp"
#include "u256/select.hpp"

namespace ulmaro::ecp256 {

using Field = u256::WithSelect<u256::PortableResidues>;

constinit const Kernels portable_kernels = {"portable", 6144, multiply_point<Field>, multiply_both_vartime<Field>};

}  // namespace ulmaro::ecp256
