#include "u256/montgomery.hpp"

#include "u256/portable_montgomery.hpp"

namespace ulmaro::u256 {
namespace {

using Inlined = Residues<PortableChains>;

}  // namespace

U256 PortableResidues::mul(const U256& a, const U256& b) const noexcept { return Inlined(m_).mul(a, b); }

U256 PortableResidues::mul_sub(const U256& a, const U256& b, const U256& c, const U256& d) const noexcept {
    return Inlined(m_).mul_sub(a, b, c, d);
}

U256 PortableResidues::add(const U256& a, const U256& b) const noexcept { return Inlined(m_).add(a, b); }

U256 PortableResidues::sub(const U256& a, const U256& b) const noexcept { return Inlined(m_).sub(a, b); }

U256 PortableResidues::half(const U256& a) const noexcept { return Inlined(m_).half(a); }

U256 PortableResidues::negated_if(Mask mask, const U256& a) const noexcept { return Inlined(m_).negated_if(mask, a); }

}  // namespace ulmaro::u256
