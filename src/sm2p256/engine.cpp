#include "sm2p256/engine.hpp"

#include "base/wipe.hpp"
#include "sm2p256/kernels.hpp"
#include "sm2p256/scalar.hpp"

namespace ulmaro::sm2p256 {
namespace {

U256 load(In bytes) noexcept {
    U256 r;
    load_be(r.w, bytes.data());
    return r;
}

void store(Out bytes, const U256& a) noexcept { store_be(bytes.data(), a.w); }

void store(Out rx, Out ry, const Affine& p) noexcept {
    store(rx, fe_residue(p.x));
    store(ry, fe_residue(p.y));
}

// (e + x) mod n: r of a signature whose point has this x.
U256 with_digest(const U256& e, const U256& x) noexcept {
    U256 r;
    add_mod(r.w, reduce_to_order(e).w, reduce_to_order(x).w, group_order.w);
    return r;
}

/// f(kernels), leaving nothing on the stack.
template <typename F>
auto with_kernels(F&& f) {
    constexpr std::size_t own_frames = 512;  // of the functions below and the scalar arithmetic
    const Kernels& kernels = active_kernels();
    return with_wiped_stack(kernels.stack + own_frames, [&] { return f(kernels); });
}

}  // namespace

bool is_on_curve(In x, In y) noexcept { return on_curve({fe_from(load(x)), fe_from(load(y))}) != 0; }

bool multiply_base(Out rx, Out ry, In k) noexcept {
    return with_kernels([&](const Kernels& kernels) {
        const U256 scalar = load(k);
        Affine r;
        const Mask infinite = kernels.multiply_base(r, scalar);
        store(rx, ry, r);
        return infinite == 0;
    });
}

bool multiply_point(Out rx, Out ry, In px, In py, In k) noexcept {
    return with_kernels([&](const Kernels& kernels) {
        const U256 scalar = load(k);
        Affine r;
        const Affine p = {fe_from(load(px)), fe_from(load(py))};
        const Mask infinite = kernels.multiply_point(r, p, scalar);
        store(rx, ry, r);
        return infinite == 0;
    });
}

bool multiply_base_and_point(Out bx, Out by, Out rx, Out ry, In px, In py, In k) noexcept {
    return with_kernels([&](const Kernels& kernels) {
        const U256 scalar = load(k);
        Affine base, r;
        const Affine p = {fe_from(load(px)), fe_from(load(py))};
        const Mask infinite = kernels.multiply_base_and_point(base, r, p, scalar);
        store(bx, by, base);
        store(rx, ry, r);
        return infinite == 0;
    });
}

bool is_signing_key(In d) noexcept {
    return with_wiped_stack(256, [&] {
        const U256 key = load(d);
        U256 largest = group_order;
        largest.w[0] -= 1;
        return (less(key.w, largest.w) & ~is_zero(key.w)) != 0;
    });
}

bool sign(Out r, Out s, In e, In d, In k) noexcept {
    return with_kernels([&](const Kernels& kernels) {
        const U256 scalar = load(k);
        Scalar inverse = scalar_add(scalar_from(load(d)), scalar_one);
        Fe x;
        kernels.multiply_base_and_invert(x, inverse, scalar);  // A4
        U256 rr = with_digest(load(e), fe_residue(x));         // A5
        // A6, as s = (1 + d)^-1 (r + k) - r.
        const Scalar r_form = scalar_from(rr);
        const Scalar sum = scalar_add(r_form, scalar_from(scalar));
        U256 ss = scalar_residue(scalar_sub(scalar_mul(inverse, sum), r_form));

        const Mask accepted = ~(is_zero(rr.w) | is_zero(sum.w) | is_zero(ss.w));
        for (int i = 0; i < 4; ++i) {
            rr.w[i] &= accepted;
            ss.w[i] &= accepted;
        }
        store(r, rr);
        store(s, ss);
        return accepted != 0;
    });
}

Comparison verify_vartime(In e, In r, In s, In px, In py) noexcept {
    using F = PortableField;
    const U256 digest = reduce_to_order(load(e)), given = load(r), multiplier = load(s);
    U256 t;
    add_mod(t.w, given.w, multiplier.w, group_order.w);  // B5
    if ((is_zero(given.w) | is_zero(multiplier.w) | is_zero(t.w)) != 0) return Comparison::none;
    const Affine key = {fe_from(load(px)), fe_from(load(py))};
    const Jacobian sum = active_kernels().multiply_add_vartime(multiplier, key, t);  // B6
    if (is_zero(sum.z.w) != 0) return Comparison::none;

    // B7 without an inversion: x is (r - e) mod n, or that plus n if the sum is below p.
    const Fe zz = F::sqr(sum.z);
    U256 x;
    subtract_mod(x.w, given.w, digest.w, group_order.w);
    if (equal(F::mul(fe_from(x), zz).w, sum.x.w) != 0) return Comparison::equal;
    if (add(x.w, x.w, group_order.w) == 0 && less(x.w, field_prime.w) != 0 &&
        equal(F::mul(fe_from(x), zz).w, sum.x.w) != 0) {
        return Comparison::equal;
    }
    Affine affine;
    to_affine<F>(affine, sum);
    const U256 expected = with_digest(digest, fe_residue(affine.x));
    return less(given.w, expected.w) != 0 ? Comparison::less : Comparison::greater;
}

}  // namespace ulmaro::sm2p256
