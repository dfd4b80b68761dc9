// Points and their multiples: the exported routines and every kernel of both engines, on all kinds of curves, against
// sums of affine points.
#include "ec/limbs.hpp"
#include "ecp256/kernels.hpp"
#include "fuzz/groups.hpp"
#include "sm2p256/engine.hpp"
#include "sm2p256/kernels.hpp"

namespace ulmaro::fuzz {
namespace {

using u256::U256;

/// A over the given z, in Montgomery form; infinity has any x and y.
ec_point_st jacobian(const Group& group, const Point& A, const Integer& z) {
    ec_point_st r;
    std::memset(&r, 0xc5, sizeof r);
    r.X = group.form(A.infinite ? Integer(5) : Integer(A.x * z * z));
    r.Y = group.form(A.infinite ? Integer(6) : Integer(A.y * z * z * z));
    r.Z = group.form(A.infinite ? Integer(0) : z);
    r.z_is_one = !A.infinite && z == 1 ? 1 : 0;
    return r;
}

bool same(Group& group, ec_point_st got, const Point& expected) {
    bignum_st x, y;
    std::memset(&x, 0xc5, sizeof x);
    std::memset(&y, 0xc5, sizeof y);
    ec_GFp_simple_point_get_affine_coordinates_GFp(&group.grp, &got, &x, &y);
    return (ec_GFp_simple_is_at_infinity(&group.grp, &got) != 0) == expected.infinite &&
           value_of(x, 10) == expected.x && value_of(y, 10) == expected.y;
}

void check_sum(Group& group, const Point& a, const Integer& za, const Point& b, const Integer& zb) {
    const ec_point_st A = jacobian(group, a, za), B = jacobian(group, b, zb);
    ec_point_st apart, over_a = A, over_b = B, in_a = A, in_b = B;
    std::memset(&apart, 0x3a, sizeof apart);
    const ec_point_st before = apart;
    soil_stack();
    ec_GFp_simple_add(&group.grp, &apart, &in_a, &in_b);
    ec_GFp_simple_add(&group.grp, &over_a, &over_a, &in_b);
    ec_GFp_simple_add(&group.grp, &over_b, &in_a, &over_b);
    const Point sum = group.curve.sum(a, b);
    const auto equal_bytes = [](const auto& x, const auto& y) { return std::memcmp(&x, &y, sizeof x) == 0; };
    for (const ec_point_st& got : {apart, over_a, over_b}) {
        const bool copied = a.infinite || b.infinite;  // 0 + P is P
        require(same(group, got, sum), "a sum of points");
        require(copied ? equal_bytes(got, a.infinite ? B : A) : got.z_is_one == 0, "the record of a sum");
    }
    if (za == 1 && zb == 1 && !(a.x == b.x))
        require(a.infinite || b.infinite || apart.Z.words[9] == 0, "no stale word");
    require(equal_bytes(in_a, A) && equal_bytes(in_b, B), "operands stay");
    if (sum.infinite && !(a == b)) require(equal_bytes(apart.X, before.X) && apart.Z.words[9] == 0, "infinity");

    ec_GFp_simple_add(&group.grp, &in_b, &in_b, &in_b);
    require(same(group, in_b, group.curve.sum(b, b)), "a point plus itself");
    apart = before;
    ec_GFp_simple_dbl(&group.grp, &apart, &in_a);
    require(equal_bytes(in_a, A), "a doubled operand stays");
    ec_GFp_simple_dbl(&group.grp, &in_a, &in_a);
    const Point twice = group.curve.sum(a, a);
    require(same(group, apart, twice) && same(group, in_a, twice) && apart.z_is_one == 0, "a doubled point");
    if (a.infinite) require(equal_bytes(apart.X, before.X) && value_of(apart.Z, 10) == 0, "infinity doubled");
}

/// [k]A and [k]A + [l]B by EC_POINTs_mul, which reads as many words of a scalar as the order has.
void check_routine(Group& group, const Integer& k, const Point& a, const Integer& l, const Point& b, const Integer& z) {
    const Integer most = power_of_two(static_cast<unsigned>(32 * group.grp.order_top));
    const Integer kk = mod(k, most), ll = mod(l, most);
    bignum_st s = group.scalar(kk), t = group.scalar(ll);
    ec_point_st A = jacobian(group, a, z), B = jacobian(group, b, 1), r = {};
    const Point product = group.curve.multiple(kk, a);
    EC_POINTs_mul(&group.grp, &r, &A, &s, nullptr, nullptr);
    require(same(group, r, product), "EC_POINTs_mul of one point");
    r = {};
    EC_POINTs_mul(&group.grp, &r, &A, &s, &B, &t);
    require(same(group, r, group.curve.sum(product, group.curve.multiple(ll, b))), "EC_POINTs_mul of two points");
    r = A;
    EC_POINTs_mul(&group.grp, &r, &r, &s, nullptr, nullptr);
    require(same(group, r, kk == 0 ? a : product), "EC_POINTs_mul in place; a product by 0 is not written");
    if (kk == 1) require(std::memcmp(&r, &A, sizeof A) == 0, "1 P is a copy");
}

sm2p256::Affine special_affine(const Point& A) {
    return {sm2p256::fe_from(record_of<U256>(A.x)), sm2p256::fe_from(record_of<U256>(A.y))};
}
Point plain(const sm2p256::Affine& A) {
    const Point r = {value_of(sm2p256::fe_residue(A.x)), value_of(sm2p256::fe_residue(A.y))};
    return r == Point{0, 0} ? infinity : r;
}

/// [k]G, [k]A and [s]G + [t]A for A on the curve, by every kernel.
void check_multiples(Group& group, const Integer& k, const Point& a, const Integer& s, const Integer& t) {
    const Point base = group.multiple(k), product = group.curve.multiple(k, a), both = group.multiple(s, t, a);
    if (a.infinite || !ec::fits_limbs(group.grp)) return;
    const ecp256::Curve curve = ec::curve_of(group.grp);
    const auto affine = [](const ec_point_st& A) { return ecp256::Affine{ec::limbs(A.X.words), ec::limbs(A.Y.words)}; };
    const ecp256::Affine G = affine(group.grp.generator), P = affine(jacobian(group, a, 1));
    const auto expect = [&](const ecp256::Jacobian& sum, const Point& point) {
        const auto word = [](const U256& limbs) { return record_of<bignum_st>(value_of(limbs)); };
        require(same(group, {word(sum.x), word(sum.y), word(sum.z), 0}, point), "a kernel of any curve");
    };
    for (const ecp256::Kernels* kernel : ecp256::supported_kernels()) {
        ecp256::Jacobian sum;
        // An exception is allowed once scalars reach the order of a point; a wrong result never is.
        const bool exception = kernel->multiply_point(curve, P, record_of<U256>(k), sum) != 0;
        require(!exception || k >= group.n || !group.sound(), "no exception below a prime order");
        if (!exception) expect(sum, product);
        if (kernel->multiply_both_vartime(curve, G, record_of<U256>(s), P, record_of<U256>(t), sum) == 0)
            expect(sum, both);
    }
    if (!(group.G == groups()[0].G)) return;
    for (const sm2p256::Kernels* kernel : sm2p256::supported_kernels()) {
        sm2p256::Affine r;
        const U256 factor = record_of<U256>(k), u = record_of<U256>(s), v = record_of<U256>(t);
        const auto is = [&](u256::Mask infinite, const Point& expected) {
            require((infinite != 0) == expected.infinite && plain(r) == expected, kernel->name);
        };
        is(kernel->multiply_base(r, factor), base);
        is(kernel->multiply_point(r, special_affine(a), factor), product);
        sm2p256::Affine kg;
        is(kernel->multiply_base_and_point(kg, r, special_affine(a), factor), product);
        require(plain(kg) == base, kernel->name);
        sm2p256::to_affine<sm2p256::PortableField>(r, kernel->multiply_add_vartime(u, special_affine(a), v));
        require(plain(r) == both, kernel->name);
        sm2p256::Fe x;
        sm2p256::Scalar inverted = sm2p256::scalar_from(u);
        kernel->multiply_base_and_invert(x, inverted, factor);
        require(value_of(sm2p256::fe_residue(x)) == base.x, "x beside an inversion");
        require(value_of(sm2p256::scalar_residue(inverted)) == inverse(s, group.n), "an inversion beside a multiple");
    }
}

}  // namespace

void run(Data& data) {
    Group& group = data.one_of(groups());
    const Integer& n = group.n;
    const Integer a = take_number(data, n), k = take_number(data, n), t = take_number(data, n);
    // Sums of equal points, opposite points, small multiples and any others.
    const Integer b = mod(data.one_of({a, Integer(-a), Integer(2 * a), Integer(0), Integer(a + 1), t}), n);
    const Integer s = data.flip() ? mod(data.between(-40, 40) - t * a, n) : k;
    const Point A = group.multiple(a), B = group.multiple(b);
    const auto z = [&] { return data.flip() ? Integer(1) : 1 + mod(take_number(data, n), group.curve.p - 1); };
    check_sum(group, A, z(), B, z());
    check_routine(group, k, A, t, B, z());
    check_multiples(group, k, A, s, t);
}

void run_edges() {
    Group& small = groups()[10];
    std::vector<Point> points;
    for (int k = 0; k < 77; ++k) points.push_back(small.curve.multiple(k, {2, 7}));  // all of its points
    for (const Point& a : points) {
        for (const Point& b : points) {
            for (const auto& [za, zb] : {std::pair(1, 1), {1, 9}, {7, 1}, {33, 4}}) check_sum(small, a, za, b, zb);
        }
        for (unsigned k = 0; k < 300; ++k) check_routine(small, k, a, 7 * k % 40, points[k % points.size()], 1 + k % 3);
    }
    // The recommended curve on both engines, any other curve, and those of small order.
    for (const std::size_t which : {0U, 6U, 1U, 7U, 8U, 9U}) {
        Group& group = groups()[which];
        const bool sound = group.sound();
        std::vector<Integer> scalars = edges(group.n);
        // Near the order, where the last digit equals the sum before it, and where the comb adds a point to itself.
        for (int i = 0; i < 66; ++i) scalars.push_back(sound ? Integer(group.n - i) : Integer(i));
        for (const int comb : {30, -30}) scalars.push_back(mod(Integer(comb) << 252, group.n));
        const Point any = group.multiple(7);
        for (const Integer& k : scalars) check_multiples(group, k, any, sound ? group.n : Integer(1), k);
        if (which != 0) continue;
        // A = [d]G: the running sums of the two scalars meet for small d, and the sum is infinity for s = -t d.
        for (const int d : {1, 2, 3, -1, -2, -6}) {
            for (int t = -1; t < 9; ++t) {
                for (const Integer& s : {Integer(-t * d), Integer(1 - t * d), Integer(t * d), Integer(0)}) {
                    const Integer times = mod(t, group.n);
                    check_multiples(group, times, group.multiple(mod(d, group.n)), mod(s, group.n), times);
                }
            }
        }
    }
}

}  // namespace ulmaro::fuzz
