// Arithmetic on 64-bit limbs: the fields of every kernel of both engines, the scalars, the orders of groups, and
// inversion by division steps, against GMP.
#include "ec/limbs.hpp"

#include "base/cpu.hpp"
#include "ec/order.hpp"
#include "fuzz/groups.hpp"
#include "sm2p256/field.hpp"
#include "sm2p256/scalar.hpp"
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

void check_recommended(const Operands& o) {
    using namespace sm2p256;
    const Integer p = value_of(field_prime);
    check_field<Fe>(PortableField(), p, o);
#if defined(__x86_64__)
    if (cpu_features().bmi2 && cpu_features().adx) check_field<Fe>(X86Field(), p, o);
#elif defined(__aarch64__)
    check_field<Fe>(ArmField(), p, o);
#endif
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
    require(o.a != 0 || value_of(alone) == 0, "the inverse of 0");
    require(value_of(alone) < m, "an inverse is a residue");
}

/// Any 256-bit numbers, not only residues.
void check_conversions(const Integer& a, const Integer& b) {
    using namespace sm2p256;
    const Integer p = value_of(field_prime), n = value_of(group_order), R = power_of_two(256);
    const Fe element = fe_from(record_of<U256>(a));
    require(value_of(element) == mod(a * R, p) && value_of(fe_residue(element)) == mod(a, p), "to the field and back");
    require(value_of(fe_residue(fe_invert(element))) == inverse(mod(a, p), p), "fe_invert");
    const Scalar x = scalar_from(record_of<U256>(a)), y = scalar_from(record_of<U256>(b));
    const auto is = [&](const Scalar& got, const Integer& expected, const char* what) {
        require(value_of(scalar_residue(got)) == mod(expected, n), what);
    };
    is(x, a, "a scalar");
    require(value_of(reduce_to_order(record_of<U256>(a))) == mod(a, n), "reduce_to_order");
    is(scalar_mul(x, y), a * b, "scalar_mul");
    is(scalar_add(x, y), a + b, "scalar_add");
    is(scalar_sub(x, y), a - b, "scalar_sub");
    is(scalar_invert(x), inverse(mod(a, n), n), "scalar_invert");
    is(scalar_one, 1, "scalar_one");
    const U256 u = record_of<U256>(a), v = record_of<U256>(b);
    require((u256::is_zero(u.w) != 0) == (a == 0) && (u256::less(u.w, v.w) != 0) == (a < b) &&
                (u256::equal(u.w, v.w) != 0) == (a == b),
            "comparisons");
}

void check_order(const Integer& n, const Operands& o, const Integer& any) {
    ec_group_st grp = {};
    grp.order = record_of<bignum_st>(n);
    const ec::Order order(grp);
    const U256 a = record_of<U256>(o.a), b = record_of<U256>(o.b);
    const auto is = [&](const U256& got, const Integer& expected, const char* what) {
        require(value_of(got) == mod(expected, n), what);
    };
    is(order.reduced(record_of<U256>(any)), any, "a number modulo an order");
    is(order.add(a, b), o.a + o.b, "a sum modulo an order");
    is(order.sub(a, b), o.a - o.b, "a difference modulo an order");
    is(order.mul(record_of<U256>(any), b), any * o.b, "a product modulo an order");
    is(order.invert(a), inverse(o.a, n), "an inverse modulo an order");
    require((order.is_signing_key(record_of<U256>(any)) != 0) == (any > 0 && any < n - 1), "a key that can sign");
}

void check(const Integer& m, const Operands& any) {
    const auto residues = [&](const Integer& n) {
        return Operands{mod(any.a, n), mod(any.b, n), mod(any.c, n), mod(any.d, n), mod(any.e, n)};
    };
    check_recommended(residues(value_of(sm2p256::field_prime)));
    check_conversions(any.a, any.b);
    if (mpz_odd_p(m.get_mpz_t()) != 0) check_any_modulus(m, residues(m));
    if (m >= power_of_two(224)) check_order(m, residues(m), any.a);
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
