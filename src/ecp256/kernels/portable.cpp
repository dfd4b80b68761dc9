// Multiples of points on any curve over a prime below 2^256 in plain C++: [k]P and [s]G + [t]P.
// Shapes as in ecp256/kernels.hpp: 4 limbs per number, any scalars, points reduced; total overlaps no input.
#include "ecp256/kernels.hpp"
#include "ecp256/multiply.hpp"
#include "u256/montgomery.hpp"
#include "u256/select.hpp"

namespace ulmaro::ecp256 {

using Field = u256::WithSelect<u256::PortableResidues>;

constinit const Kernels portable_kernels = {"portable", 6144, multiply_point<Field>, multiply_both_vartime<Field>};

}  // namespace ulmaro::ecp256
