#include "sm2p256/field.hpp"

namespace ulmaro::sm2p256 {
namespace {

constexpr Fe montgomery_factor = {{0x0000000200000003, 0x00000002ffffffff, 0x0000000100000001, 0x0000000400000002}};

}  // namespace

// The factor is 2^512: from a 2^256 it makes a^-1 2^256.
constinit const InversionModulus field_inversion = {
    {{0x0fffffffffffffff, 0x0ffffff00000000f, 0x0fffffffffffffff, 0x0fffefffffffffff, 0x000000000000ffff}},
    0x0fffffffffffffff,
    {{0x0000000200000003, 0x0000002ffffffff0, 0x0000010000000100, 0x0000400000002000, 0x0000000000000000}}};

Fe fe_from(const U256& a) noexcept { return PortableField::mul({{a.w[0], a.w[1], a.w[2], a.w[3]}}, montgomery_factor); }

U256 fe_residue(const Fe& a) noexcept {
    const Fe r = PortableField::mul(a, {{1, 0, 0, 0}});
    return {{r.w[0], r.w[1], r.w[2], r.w[3]}};
}

Fe fe_invert(const Fe& a) noexcept {
    Fe r;
    invert(r.w, a.w, field_inversion);
    return r;
}

}  // namespace ulmaro::sm2p256
