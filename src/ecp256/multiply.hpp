// Scalar multiplication on any curve, for any kernel F: an architecture's Residues plus
//     template <std::size_t N> static void select(T& r, const T (&table)[N], std::uint32_t index),
// which sets r = table[index] and reads the whole table. Everything except the doublings calls F's product and square
// out of line: additions are few, and inlining them doubled the code to save a hundredth of the time.
//
// The formulas do not cover sums of equal points. Once such a sum, or a true infinity, occurs, z is zero and stays so:
// it is checked only where that must be told from a valid result, not after every step. The functions then report an
// exception, and the caller takes the path that handles every case. Modulo a prime, a single multiple of a point of
// large prime order, by a scalar below that order, is never an exception; the sum of two multiples may be.
#pragma once

#include <span>

#include "base/wipe.hpp"
#include "ecp256/point.hpp"
#include "u256/recode.hpp"

namespace ulmaro::ecp256 {

/// table[i] = (2i + 1) p; returns a set mask on an exception.
template <typename F>
Mask fill_odd_multiples(const F& f, const Curve& curve, std::span<Multiple> table, const Affine& p) noexcept {
    Jacobian sum = {p.x, p.y, curve.one};
    table[0] = {p.x, p.y, curve.one, curve.one, curve.one};
    Jacobian twice = sum;
    double_times(f, curve.a, twice, 1);
    const typename F::Called called(f);
    const Multiple step = multiple(called, twice);
    Mask exception = is_zero(step.z.w);
    for (std::size_t i = 1; i < table.size(); ++i) {
        add(called, sum, step);
        table[i] = multiple(called, sum);
        exception |= is_zero(sum.z.w);
    }
    return exception;
}

/// Set if p and q, both finite, are the same point. Out of line: inlined, it takes registers from the nearby loop.
template <typename F>
[[gnu::noinline]] Mask same(const F& f, const Jacobian& p, const Multiple& q) noexcept {
    const U256 pzz = f.sqr(p.z);
    return u256::equal(f.mul(p.x, q.zz).w, f.mul(q.x, pzz).w) &
           u256::equal(f.mul(p.y, q.zzz).w, f.mul(q.y, f.mul(pzz, p.z)).w);
}

/// total = [k]p; returns a set mask on an exception. Constant time.
///
/// 52 windows of 5 bits of m, whichever of k and k + 1 is odd; all digits are odd, the topmost is 1; p is subtracted at
/// the end if m is k + 1. Before an addition the sum is an even multiple, at least 32, so it differs from the entry and
/// its negative until the multiples reach p's order. For k below an odd order that happens only in the last window:
/// there they are equal for m = order - 2 |digit| and opposite for m = order.
template <typename F>
Mask multiply_point(const Curve& curve, const Affine& p, const U256& k, Jacobian& total) noexcept {
    struct State {
        U256 odd;
        Multiple multiples[16];  // p, 3p, .. 31p
        Multiple entry;
        Jacobian other;
    };
    Wiped<State> state;
    const F f(curve.p);
    const typename F::Called called(f);
    auto& multiples = state->multiples;
    Multiple& entry = state->entry;
    Jacobian& other = state->other;

    Mask exception = fill_odd_multiples(f, curve, multiples, p);
    const Mask even = u256::mask_from_bit((k.w[0] & 1) ^ 1);
    state->odd = k;
    state->odd.w[0] |= 1;
    total = jacobian(multiples[0]);
    for (int i = 50; i >= 0; --i) {
        double_times(f, curve.a, total, 5);
        const u256::Choice digit = u256::choice(u256::bits(state->odd, 5 * i + 1, 5), 5);
        F::select(entry, multiples, digit.index);
        entry.y = f.negated_if(digit.negative, entry.y);
        if (i > 0) add(called, total, entry);
    }
    exception |= is_zero(total.z.w);
    const Mask doubling = same(called, total, entry);
    add(called, total, entry);
    other = jacobian(entry);
    double_times(f, curve.a, other, 1);
    assign_if(doubling, total, other);

    entry = multiples[0];
    entry.y = f.sub({}, entry.y);
    other = total;
    const Mask infinite = is_zero(total.z.w);
    exception |= even & ~infinite & same(called, total, entry);
    add(called, other, entry);
    assign_if(infinite, other, jacobian(entry));
    assign_if(even, total, other);
    return exception;
}

/// total = [s]g + [t]p; returns a set mask on an exception, when total is unspecified. Variable time: no secrets.
template <typename F>
Mask multiply_both_vartime(const Curve& curve, const Affine& g, const U256& s, const Affine& p, const U256& t,
                           Jacobian& total) noexcept {
    constexpr int width = 5;
    struct Term {
        Multiple multiples[1 << (width - 2)];  // 1, 3, .. 15 times the point
        std::int16_t digit[257];
        int length;
    };
    Term terms[2];
    const F f(curve.p);
    const typename F::Called called(f);
    const Mask exception =
        fill_odd_multiples(f, curve, terms[0].multiples, g) | fill_odd_multiples(f, curve, terms[1].multiples, p);
    if (exception != 0) return exception;
    terms[0].length = u256::recode_vartime(terms[0].digit, s, width);
    terms[1].length = u256::recode_vartime(terms[1].digit, t, width);

    total = {curve.one, curve.one, {}};
    int doublings = 0;
    for (int i = (terms[0].length > terms[1].length ? terms[0].length : terms[1].length) - 1; i >= 0; --i) {
        ++doublings;
        for (const Term& term : terms) {
            const int digit = term.digit[i];
            if (digit == 0) continue;
            Multiple entry = term.multiples[(digit < 0 ? -digit : digit) / 2];
            if (digit < 0) entry.y = f.sub({}, entry.y);
            if (is_zero(total.z.w) != 0) {
                total = jacobian(entry);
            } else {
                if (doublings > 0) double_times(f, curve.a, total, doublings);
                add(called, total, entry);
                if (is_zero(total.z.w) != 0 && is_zero(total.x.w) != 0) return ~Mask{0};
            }
            doublings = 0;
        }
    }
    if (doublings > 0) double_times(f, curve.a, total, doublings);
    return 0;
}

}  // namespace ulmaro::ecp256
