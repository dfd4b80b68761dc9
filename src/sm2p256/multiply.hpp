// Scalar multiplication, for any kernel F of the field. Besides the field functions F has
//     template <std::size_t N> static void select(T& r, const T (&table)[N], std::uint32_t index),
// which sets r = table[index] and reads the whole table.
#pragma once

#include <span>

#include "base/wipe.hpp"
#include "sm2p256/recode.hpp"
#include "sm2p256/table.hpp"

namespace ulmaro::sm2p256 {

/// total = [k]G. Constant time.
///
/// 43 windows of 6 bits, odd digits, one addition for each except the first. Below the top window the sum so far is a
/// smaller multiple of G than the next entry, and the two add up to less than n, so they are neither equal nor
/// opposite. In the top window they are opposite for the odd number n, which correctly gives infinity, and equal for
/// one odd number, 30 * 64^42 - n: the only one that is n less than twice a top entry.
template <typename F>
void sum_base(Extended& total, const U256& k) noexcept {
    struct State {
        U256 odd;
        Affine entry;
    };
    Wiped<State> state;
    U256& odd = state->odd;
    Affine& entry = state->entry;

    const Mask negative = make_odd(odd, k);
    for (int i = 0; i < comb_windows; ++i) {
        const Choice digit = choice(bits(odd, 6 * i + 1, 6), 6);
        F::select(entry, comb(i), digit.index);
        entry.y = F::negated_if(digit.negative, entry.y);
        if (i == 0) {
            total = extended(entry);
        } else {
            add<F>(total, entry);
        }
    }
    F::select(entry, comb_top, bits(odd, 6 * comb_windows + 1, 3));
    const Mask doubling = same<typename F::Called>(total, entry);
    add<F>(total, entry);
    assign_if(doubling, total, extended(comb_top_doubled));
    total.y = F::negated_if(negative, total.y);
}

/// r = [k]G, or zeros for infinity, when it returns a set mask. Constant time.
template <typename F>
Mask multiply_base(Affine& r, const U256& k) noexcept {
    Wiped<Extended> total;
    sum_base<F>(*total, k);
    return to_affine<typename F::Called>(r, *total);
}

/// x of [k]G, 0 for infinity, and inverted = 1 / inverted: a signature's two inversions, faster side by side. Constant
/// time.
template <typename F>
void multiply_base_and_invert(Fe& x, Scalar& inverted, const U256& k) noexcept {
    Wiped<Extended> total;
    sum_base<F>(*total, k);
    Fe& inverse = total->zzz;
    invert_two(inverse.w, field_inversion, inverted.w, order_inversion);
    using Called = typename F::Called;
    x = Called::mul(total->x, Called::sqr(Called::mul(total->zz, inverse)));
}

/// table[i] = (2i + 1) p.
template <typename F>
void fill_odd_multiples(std::span<Multiple> table, const Affine& p) noexcept {
    Jacobian sum = jacobian(p);
    table[0] = {p.x, p.y, fe_one, fe_one, fe_one};
    double_point<F>(sum);
    const Multiple twice = multiple<typename F::Called>(sum);
    add<F>(sum, p);
    table[1] = multiple<typename F::Called>(sum);
    for (std::size_t i = 2; i < table.size(); ++i) {
        add<F>(sum, twice);
        table[i] = multiple<typename F::Called>(sum);
    }
}

/// r = [k]P for a point on the curve, or zeros for infinity, when it returns a set mask. r may be p. Constant time.
///
/// 52 windows of 5 bits, odd digits, the topmost 1. Before an addition the sum is an even multiple, at least 32, so it
/// differs from the entry and its negative until the multiples reach n, which happens only in the last window.
template <typename F>
Mask multiply_point(Affine& r, const Affine& p, const U256& k) noexcept {
    struct State {
        U256 odd;
        Multiple multiples[16];  // p, 3p, .. 31p
        Multiple entry;
        Jacobian sum, doubled;
    };
    Wiped<State> state;
    U256& odd = state->odd;
    auto& multiples = state->multiples;
    Multiple& entry = state->entry;
    Jacobian& total = state->sum;

    const Mask negative = make_odd(odd, k);
    fill_odd_multiples<F>(multiples, p);
    total = jacobian(multiples[0]);
    for (int i = 50; i >= 0; --i) {
        for (int j = 0; j < 5; ++j) double_point<F>(total);
        const Choice digit = choice(bits(odd, 5 * i + 1, 5), 5);
        F::select(entry, multiples, digit.index);
        entry.y = F::negated_if(digit.negative, entry.y);
        if (i > 0) add<F>(total, entry);
    }
    const Mask doubling = same<typename F::Called>(total, entry);
    add<F>(total, entry);
    state->doubled = jacobian(entry);
    double_point<F>(state->doubled);
    assign_if(doubling, total, state->doubled);
    total.y = F::negated_if(negative, total.y);
    return to_affine<typename F::Called>(r, total);
}

/// p = p + q for finite q, in every case. If the affine x are equal, add leaves z = 0, and in x the square of the
/// difference of the y.
template <typename F, typename Point>
void add_vartime(Jacobian& p, const Point& q) noexcept {
    if (is_zero(p.z.w) != 0) {
        p = jacobian(q);
        return;
    }
    add<F>(p, q);
    if (is_zero(p.z.w) != 0 && is_zero(p.x.w) != 0) {
        p = jacobian(q);
        double_point<F>(p);
    }
}

/// [s]G + [t]P for a point on the curve. Variable time: nothing here may be secret.
template <typename F>
Jacobian multiply_add_vartime(const U256& s, const Affine& p, const U256& t) noexcept {
    constexpr int width = 5;
    Multiple multiples[1 << (width - 2)];  // p, 3p, .. 15p
    fill_odd_multiples<F>(multiples, p);

    std::int16_t s_digit[257], t_digit[257];
    const int s_length = recode_vartime(s_digit, s, generator_width);
    const int t_length = recode_vartime(t_digit, t, width);
    const auto index = [](int digit) { return (digit < 0 ? -digit : digit) / 2; };
    const auto add = [](Jacobian& total, auto entry, int digit) {
        if (digit < 0) entry.y = F::sub(fe_zero, entry.y);
        add_vartime<F>(total, entry);
    };
    Jacobian total = {fe_one, fe_one, fe_zero};
    for (int i = (s_length > t_length ? s_length : t_length) - 1; i >= 0; --i) {
        double_point<F>(total);
        const int td = t_digit[i], sd = s_digit[i];
        if (td != 0) add(total, multiples[index(td)], td);
        if (sd != 0) add(total, generator_odd[index(sd) / 32][index(sd) % 32], sd);
    }
    return total;
}

}  // namespace ulmaro::sm2p256
