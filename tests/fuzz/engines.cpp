// The engine of the recommended curve, every kernel of it, against the general routines, at fuzzed scalars and points
// in every relation to each other.
#include "fuzz/general_curve.hpp"
#include "sm2p256/engine.hpp"
#include "sm2p256/kernels.hpp"
#include "support/curves.hpp"
#include "support/numbers256.hpp"

namespace ulmaro::fuzz {
namespace {

using sm2p256::Affine;
using sm2p256::Mask;
using sm2p256::U256;

GeneralCurve& curve() {
    static GeneralCurve instance(test::parameters(test::kRecommended));
    return instance;
}

U256 u256(const Integer& a) { return test::number(be32(a)); }

Bytes xy_of(const Affine& a) {
    Bytes xy = test::be(sm2p256::fe_residue(a.x));
    const Bytes y = test::be(sm2p256::fe_residue(a.y));
    xy.insert(xy.end(), y.begin(), y.end());
    return xy;
}

Affine affine_of(const Bytes& xy) {
    return {sm2p256::fe_from(test::number({xy.begin(), xy.begin() + 32})),
            sm2p256::fe_from(test::number({xy.begin() + 32, xy.end()}))};
}

bool is_infinite(const Bytes& xy) { return std::ranges::count(xy, 0) == 64; }

sm2p256::In in(const Bytes& bytes, std::size_t at = 0) { return sm2p256::In(bytes.data() + at, 32); }
sm2p256::Out out(Bytes& bytes, std::size_t at = 0) { return sm2p256::Out(bytes.data() + at, 32); }

void check_base(const Integer& k, const Integer& other) {
    const Bytes expected = curve().multiply(k);
    for (const sm2p256::Kernels* kernels : sm2p256::supported_kernels()) {
        Affine r;
        const Mask infinite = kernels->multiply_base(r, u256(k));
        require((infinite != 0) == is_infinite(expected) && xy_of(r) == expected, kernels->name);

        sm2p256::Fe x;
        sm2p256::Scalar inverted = sm2p256::scalar_from(u256(other));
        kernels->multiply_base_and_invert(x, inverted, u256(k));
        require(equal(test::be(sm2p256::fe_residue(x)), std::span(expected).first(32)), "x beside an inversion");
        const Integer expected_inverse = inverse(mod(other, curve().n), curve().n);
        require(from_be(test::be(sm2p256::scalar_residue(inverted))) == expected_inverse,
                "inversion beside a multiple");
    }
    Bytes xy(64);
    require(sm2p256::multiply_base(out(xy), out(xy, 32), in(be32(k))) != is_infinite(expected) && xy == expected,
            "multiply_base of bytes");
}

/// P = [d]G, and sums that are small multiples of G where the two scalars nearly cancel.
void check_point(Data& data, const Integer& d, const Integer& k) {
    const Integer& n = curve().n;
    const Bytes P = curve().multiply(d);
    if (is_infinite(P)) return;
    require(sm2p256::is_on_curve(in(P), in(P, 32)), "multiples lie on the curve");
    const Integer t = take_number(data, n);
    const Integer s = data.ConsumeBool() ? k : mod(data.ConsumeIntegralInRange(-40, 40) - t * d, n);
    const Bytes multiple = curve().multiply(k, P), sum = curve().multiply_add(s, P, t);
    for (const sm2p256::Kernels* kernels : sm2p256::supported_kernels()) {
        Affine r;
        const Mask infinite = kernels->multiply_point(r, affine_of(P), u256(k));
        require((infinite != 0) == is_infinite(multiple) && xy_of(r) == multiple, kernels->name);
        const auto jacobian = kernels->multiply_add_vartime(u256(s), affine_of(P), u256(t));
        sm2p256::to_affine<sm2p256::PortableField>(r, jacobian);
        require(xy_of(r) == sum, kernels->name);
    }
    Bytes xy = P;
    require(sm2p256::multiply_point(out(xy), out(xy, 32), in(xy), in(xy, 32), in(be32(k))) != is_infinite(multiple) &&
                xy == multiple,
            "multiply_point of bytes");
    require(multiple == curve().multiply(mod(k * d, n)), "[k][d]G = [kd]G");
    require(sum == curve().multiply(mod(s + t * d, n)), "[s]G + [t][d]G = [s + td]G");
}

/// The general sum of [a]G and [b]G, b in a fuzzed relation to a, both in any coordinates and places.
void check_sums(Data& data, const Integer& a) {
    const Integer& n = curve().n;
    const Integer relations[] = {a, n - mod(a, n), 2 * a, 0, a + 1, take_number(data, n)};
    const Integer b = mod(relations[data.ConsumeIntegralInRange<std::size_t>(0, std::size(relations) - 1)], n);
    ec_point_st A = curve().multiple(a, curve().grp.generator), B = curve().multiple(b, curve().grp.generator);
    for (ec_point_st* point : {&A, &B}) {
        const Bytes xy = curve().affine(*point);
        if (!is_infinite(xy) && data.ConsumeBool()) *point = curve().jacobian(xy);
    }
    ec_point_st apart = {}, twice = {};
    ec_GFp_simple_dbl(&curve().grp, &twice, &A);
    require(curve().affine(twice) == curve().multiply(mod(2 * a, n)), "a doubled point");
    ec_point_st* const places[] = {&A, &B, &apart};
    ec_point_st* const sum = places[data.ConsumeIntegralInRange<std::size_t>(0, 2)];
    ec_GFp_simple_add(&curve().grp, sum, &A, &B);
    Affine expected;
    sm2p256::active_kernels().multiply_base(expected, u256(mod(a + b, n)));
    require(curve().affine(*sum) == xy_of(expected), "a sum of points");
}

/// Signing as the scheme says, and verification of any pair against [s]G + [r + s]P.
void check_signature(Data& data, const Integer& d, const Integer& k) {
    const Integer& n = curve().n;
    const Integer e = take_number(data, n), key = mod(d, n), scalar = mod(k, n);
    require(sm2p256::is_signing_key(in(be32(d))) == (d > 0 && d < n - 1), "is_signing_key");
    if (key == 0 || key == n - 1 || scalar == 0) return;
    const Integer r = mod(e + x_of(curve().multiply(scalar)), n);
    const Integer s = mod(inverse(key + 1, n) * (scalar - r * key), n);
    const bool serves = r != 0 && mod(r + scalar, n) != 0 && s != 0;
    Bytes signature(64, 0xa5);
    require(sm2p256::sign(out(signature), out(signature, 32), in(be32(e)), in(be32(key)), in(be32(scalar))) == serves,
            "sign serves");
    require(from_be(std::span(signature).first(32)) == (serves ? r : Integer(0)), "r");
    require(from_be(std::span(signature).last(32)) == (serves ? s : Integer(0)), "s");

    const Bytes P = curve().multiply(key);
    const Integer given = serves && data.ConsumeBool() ? r : mod(take_number(data, n), n);
    const Integer choices[] = {s, mod(take_number(data, n), n), mod(-given, n)};
    const Integer multiplier = choices[data.ConsumeIntegralInRange<std::size_t>(0, 2)];
    const Integer t = mod(given + multiplier, n);
    const Bytes sum = curve().multiply_add(multiplier, P, t);
    const Integer digest = data.ConsumeBool() ? e : mod(given - x_of(sum), n);
    auto expected = sm2p256::Comparison::none;
    if (given != 0 && multiplier != 0 && t != 0 && !is_infinite(sum)) {
        const Integer R = mod(digest + x_of(sum), n);
        expected = given == R  ? sm2p256::Comparison::equal
                   : given < R ? sm2p256::Comparison::less
                               : sm2p256::Comparison::greater;
    }
    require(!serves || given != r || multiplier != s || digest != e || expected == sm2p256::Comparison::equal,
            "an own signature is valid");
    require(
        sm2p256::verify_vartime(in(be32(digest)), in(be32(given)), in(be32(multiplier)), in(P), in(P, 32)) == expected,
        "verify_vartime");
}

}  // namespace
}  // namespace ulmaro::fuzz

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* input, std::size_t size) {
    using namespace ulmaro::fuzz;
    Data data(input, size);
    const Integer k = take_number(data, curve().n), d = take_number(data, curve().n);
    switch (data.ConsumeIntegralInRange(0, 3)) {
        case 0:
            check_base(k, d);
            break;
        case 1:
            check_point(data, d, k);
            break;
        case 2:
            check_sums(data, k);
            break;
        default:
            check_signature(data, d, k);
    }
    return 0;
}
