#include "sm2p256/field.hpp"

#include "u256/product.hpp"

namespace ulmaro::sm2p256 {
namespace {

constexpr Fe montgomery_factor = {{0x0000000200000003, 0x00000002ffffffff, 0x0000000100000001, 0x0000000400000002}};

/// t / 2^256 modulo p for t < 2^256 p. Needs no multiplication: p is -1 modulo 2^64, so adding m p clears a lowest limb
/// m and adds m (1 - 2^32 - 2^160 + 2^192) above it.
[[gnu::always_inline]] inline Fe reduce(const u256::Product& t) noexcept {
    Limbs low = {t.t0, t.t1, t.t2, t.t3};
    for (int i = 0; i < 4; ++i) {
        // Stays below 2^192 + p, so the carry out of the additions cancels the borrow.
        const std::uint64_t m = low[0];
        const Limbs plus = {m, 0, 0, m};
        const Limbs minus = {m << 32, m >> 32, m << 32, m >> 32};
        const Limbs shifted = {low[1], low[2], low[3], 0};
        add(low, shifted, plus);
        subtract(low, low, minus);
    }
    Fe r;
    const Limbs high = {t.t4, t.t5, t.t6, t.t7};
    add_mod(r.w, low, high, field_prime.w);
    return r;
}

}  // namespace

Fe PortableField::mul(const Fe& a, const Fe& b) noexcept { return reduce(u256::PortableProduct::product(a.w, b.w)); }

Fe PortableField::add(const Fe& a, const Fe& b) noexcept {
    Fe r;
    add_mod(r.w, a.w, b.w, field_prime.w);
    return r;
}

Fe PortableField::sub(const Fe& a, const Fe& b) noexcept {
    Fe r;
    subtract_mod(r.w, a.w, b.w, field_prime.w);
    return r;
}

Fe PortableField::negated_if(Mask mask, const Fe& a) noexcept {
    Fe r = a, negative;
    subtract(negative.w, field_prime.w, a.w);
    assign_if(mask, r.w, negative.w);
    return r;
}

Fe PortableField::half(const Fe& a) noexcept {
    const Mask odd = mask_from_bit(a.w[0] & 1);
    const Limbs even_maker = {odd, field_prime.w[1] & odd, odd, field_prime.w[3] & odd};
    Fe r;
    const std::uint64_t carry = u256::add(r.w, a.w, even_maker);
    for (int i = 0; i < 3; ++i) r.w[i] = r.w[i] >> 1 | r.w[i + 1] << 63;
    r.w[3] = r.w[3] >> 1 | carry << 63;
    return r;
}

// The factor is 2^512: it turns a 2^256 into a^-1 2^256.
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
