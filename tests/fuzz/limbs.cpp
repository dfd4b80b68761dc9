// Arithmetic on 64-bit limbs: the fields of every kernel of both engines, and inversion by division steps, against GMP.
#include "base/cpu.hpp"
#include "fuzz/groups.hpp"
#include "sm2p256/field.hpp"
#include "u256/montgomery.hpp"
#if defined(__x86_64__)
#include "sm2p256/kernels/x86_field.hpp"
#include "u256/x86_montgomery.hpp"
#elif defined(__aarch64__)
#include "sm2p256/kernels/arm_field.hpp"
#include "u256/arm_montgomery.hpp"
#endif

namespace ulmaro::fuzz {
namespace {

using u256::U256;

/// Raw limbs below the modulus, whatever form they stand for. e is a result that one product is made to have.
struct Operands {
    Integer a, b, c, d, e;
};

/// F is a field's functions on elements of type E, modulo m.
template <class E, class F>
void check_field(const F& f, const Integer& m, const Operands& o) {
    const Integer radix = power_of_two(256), per_radix = inverse(radix, m);
    const E a = record_of<E>(o.a), b = record_of<E>(o.b), c = record_of<E>(o.c), d = record_of<E>(o.d);
    const auto is = [&](const E& got, const Integer& expected, const char* what) {
        require(value_of(got) == mod(expected, m), what);
    };
    is(f.mul(a, b), o.a * o.b * per_radix, "mul");
    is(f.sqr(a), o.a * o.a * per_radix, "sqr");
    is(f.mul_sub(a, b, c, d), (o.a * o.b - o.c * o.d) * per_radix, "mul_sub");
    is(f.mul_sub_sqr(a, b, c), (o.a * o.b - o.c * o.c) * per_radix, "mul_sub_sqr");
    is(f.add(a, b), o.a + o.b, "add");
    is(f.sub(a, b), o.a - o.b, "sub");
    is(f.half(a), o.a * inverse(2, m), "half");
    is(f.negated_if(0, a), o.a, "not negated");
    if (o.a == 0) return;
    is(f.negated_if(~u256::Mask{0}, a), -o.a, "negated");
    const E factor = record_of<E>(mod(o.e * radix * inverse(o.a, m), m));
    is(f.mul(a, factor), inverse(o.a, m) == 0 ? Integer(0) : o.e, "a product with a chosen result");
}

void check_any_modulus(const Integer& m, const Operands& o) {
    const u256::Modulus modulus = u256::modulus(record_of<U256>(m));
    check_field<U256>(u256::PortableResidues(modulus), m, o);
#if defined(__x86_64__)
    if (cpu_features().bmi2 && cpu_features().adx) {
        check_field<U256>(u256::Residues<u256::X86Chains>(modulus), m, o);
    }
#elif defined(__aarch64__)
    check_field<U256>(u256::Residues<u256::ArmChains>(modulus), m, o);
#endif
    // factor / a, alone and as one of a pair.
    const u256::InversionModulus inversion = u256::inversion_modulus(modulus, record_of<U256>(o.e));
    U256 alone = record_of<U256>(o.a), first = alone, second = record_of<U256>(o.b);
    u256::invert(alone.w, alone.w, inversion);
    u256::invert_two(first.w, inversion, second.w, inversion);
    require(value_of(alone) == value_of(first), "two inversions at once");
    if (gcd(o.a, m) == 1) require(value_of(alone) == mod(o.e * inverse(o.a, m), m), "an inverse");
    require(value_of(alone) < m && (o.a != 0 || value_of(alone) == 0), "an inverse is a residue, that of 0 is 0");
}

void check(const Integer& m, const Operands& any) {
    const auto residues = [&](const Integer& n) {
        return Operands{mod(any.a, n), mod(any.b, n), mod(any.c, n), mod(any.d, n), mod(any.e, n)};
    };
    const Integer p = value_of(sm2p256::field_prime);
    check_field<sm2p256::Fe>(sm2p256::PortableField(), p, residues(p));
#if defined(__x86_64__)
    if (cpu_features().bmi2 && cpu_features().adx) check_field<sm2p256::Fe>(sm2p256::X86Field(), p, residues(p));
#elif defined(__aarch64__)
    check_field<sm2p256::Fe>(sm2p256::ArmField(), p, residues(p));
#endif
    if (mpz_odd_p(m.get_mpz_t()) != 0) check_any_modulus(m, residues(m));
    const U256 u = record_of<U256>(any.a), v = record_of<U256>(any.b);
    require((u256::is_zero(u.w) != 0) == (any.a == 0) && (u256::less(u.w, v.w) != 0) == (any.a < any.b) &&
                (u256::equal(u.w, v.w) != 0) == (any.a == any.b),
            "comparisons");
}

}  // namespace

/// The modulus is a curve's or arbitrary.
void run(Data& data) {
    const Curve& curve = data.one_of(known_curves);
    Integer m = from_be(data.flip() ? curve.p : curve.n);
    if (data.rarely(4)) m = 3 + take_number(data, m) / 2;  // even or composite too
    Operands o;
    for (Integer* a : {&o.a, &o.b, &o.c, &o.d, &o.e}) *a = take_number(data, m);
    check(m, o);
}

void run_edges() {
    for (const char* modulus : {known_curves[0].p, known_curves[0].n, known_curves[1].p, known_curves[1].n,
                                known_curves[4].p, known_curves[5].n}) {
        const Integer m = from_be(modulus);
        const std::vector<Integer> all = edges(m);
        const std::size_t count = all.size();
        for (std::size_t i = 0; i < count; ++i) {
            check(3 * (m / 5 | 1), {3 * all[i] / 5, all[i], m / 3, all[0], all[i]});
            for (std::size_t j = 0; j < count; ++j) {
                check(m, {all[i], all[j], all[(i * 7 + j) % count], all[(j * 5 + i) % count], all[j]});
            }
        }
    }
}

}  // namespace ulmaro::fuzz
