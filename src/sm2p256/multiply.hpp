// Scalar multiplication, for any kernel F of the field. Besides the field functions F has
//     template <std::size_t N> static void select(T& r, const T (&table)[N], std::uint32_t index),
// which sets r = table[index] and reads the whole table. Sum is where the loops keep their sums.
#pragma once

#include <span>

#include "base/wipe.hpp"
#include "sm2p256/recode.hpp"
#include "sm2p256/table.hpp"

namespace ulmaro::sm2p256 {

/// A sum in a loop, which works on the point itself. A kernel may have another class that keeps the sum in a form of
/// its own until leave.
template <typename F, typename Point>
struct SumInPlace {
    Point& point;

    void enter(const Point& p) noexcept { point = p; }
    void leave() noexcept {}
    void add(const Affine& q) noexcept { sm2p256::add<F>(point, q); }
    void double_times(int n) noexcept {
        for (int i = 0; i < n; ++i) double_point<F>(point);
    }
};

/// total = [k]G. Constant time.
///
/// 43 windows of 6 bits, odd digits, one addition for each except the first. Below the top window the sum so far is a
/// smaller multiple of G than the next entry, and the two add up to less than n, so they are neither equal nor
/// opposite. In the top window they are opposite for the odd number n, which correctly gives infinity, and equal for
/// one odd number, 30 * 64^42 - n: the only one that is n less than twice a top entry.
template <typename F, template <typename, typename> typename Sum = SumInPlace>
void sum_base(Extended& total, const U256& k) noexcept {
    struct State {
        U256 odd;
        Affine entry;
    };
    Wiped<State> state;
    U256& odd = state->odd;
    Affine& entry = state->entry;
    Sum<F, Extended> sum{total};

    const Mask negative = make_odd(odd, k);
    for (int i = 0; i < comb_windows; ++i) {
        const Choice digit = choice(bits(odd, 6 * i + 1, 6), 6);
        F::select(entry, comb(i), digit.index);
        entry.y = F::negated_if(digit.negative, entry.y);
        if (i == 0) {
            sum.enter(extended(entry));
        } else {
            sum.add(entry);
        }
    }
    sum.leave();
    F::select(entry, comb_top, bits(odd, 6 * comb_windows + 1, 3));
    const Mask doubling = same<typename F::Called>(total, entry);
    add<F>(total, entry);
    assign_if(doubling, total, extended(comb_top_doubled));
    total.y = F::negated_if(negative, total.y);
}

/// r = [k]G, or zeros for infinity, when it returns a set mask. Constant time.
template <typename F, template <typename, typename> typename Sum = SumInPlace>
Mask multiply_base(Affine& r, const U256& k) noexcept {
    Wiped<Extended> total;
    sum_base<F, Sum>(*total, k);
    return to_affine<typename F::Called>(r, *total);
}

/// x of [k]G, 0 for infinity, and inverted = 1 / inverted: a signature's two inversions, faster side by side. Constant
/// time.
template <typename F, template <typename, typename> typename Sum = SumInPlace>
void multiply_base_and_invert(Fe& x, Scalar& inverted, const U256& k) noexcept {
    Wiped<Extended> total;
    sum_base<F, Sum>(*total, k);
    Fe& inverse = total->zzz;
    invert_two(inverse.w, field_inversion, inverted.w, order_inversion);
    using Called = typename F::Called;
    x = Called::mul(total->x, Called::sqr(Called::mul(total->zz, inverse)));
}

/// table[i] = (2i + 1) p for a point on the curve and 2 to 16 entries.
///
/// A sum of two points with the same z needs no powers of it, and brings one of them to its own z on the way (Meloni,
/// "New point addition formulae for ECC applications", 2007). Here that is 2p. Each z is the one before times the
/// difference of the two x, so a single inversion makes all entries affine.
template <typename F>
void fill_odd_multiples(std::span<Affine> table, const Affine& p) noexcept {
    if (table.size() < 2) __builtin_unreachable();
    Fe ratio[16];  // ratio[i] is z of entry i over that of entry i - 1

    // 2p as in double_point, and p, both with z = y.
    const Fe yy = F::sqr(p.y);
    const Fe m = F::mul(F::sub(p.x, fe_one), F::add(p.x, fe_one));
    Affine sum = {F::mul(p.x, yy), F::sqr(yy)};
    const Fe l = F::add(m, F::half(m));
    Affine twice;
    twice.x = F::sub(F::sqr(l), F::add(sum.x, sum.x));
    twice.y = F::sub(F::mul(l, F::sub(sum.x, twice.x)), sum.y);
    Fe z = p.y;

    for (std::size_t i = 1; i < table.size(); ++i) {
        const Fe h = F::sub(sum.x, twice.x);
        const Fe t = F::sub(sum.y, twice.y);
        const Fe hh = F::sqr(h);
        z = F::mul(z, h);
        const Fe v = F::mul(sum.x, hh);
        twice.x = F::mul(twice.x, hh);
        const Fe tt = F::sqr(t);
        twice.y = F::mul(twice.y, F::sub(v, twice.x));
        sum.x = F::sub(F::sub(tt, v), twice.x);
        sum.y = F::sub(F::mul(t, F::sub(twice.x, sum.x)), twice.y);
        table[i] = sum;
        ratio[i] = h;
    }

    Fe inverse = fe_invert(z);
    for (std::size_t i = table.size() - 1; i > 0; --i) {
        const Fe square = F::sqr(inverse);
        table[i].x = F::mul(table[i].x, square);
        table[i].y = F::mul(table[i].y, F::mul(square, inverse));
        inverse = F::mul(inverse, ratio[i]);
    }
    table[0] = p;
}

/// total = [k]P for a point on the curve. Constant time.
///
/// 52 windows of 5 bits, odd digits, the topmost 1. Before an addition the sum is an even multiple, at least 32, so it
/// differs from the entry and its negative until the multiples reach n, which happens only in the last window.
template <typename F, template <typename, typename> typename Sum = SumInPlace>
void sum_point(Jacobian& total, const Affine& p, const U256& k) noexcept {
    struct State {
        U256 odd;
        Affine multiples[16];  // p, 3p, .. 31p
        Affine entry;
        Jacobian doubled;
    };
    Wiped<State> state;
    U256& odd = state->odd;
    auto& multiples = state->multiples;
    Affine& entry = state->entry;

    const Mask negative = make_odd(odd, k);
    fill_odd_multiples<F>(multiples, p);
    Sum<F, Jacobian> sum{total};
    sum.enter(jacobian(multiples[0]));
    for (int i = 50; i >= 0; --i) {
        sum.double_times(5);
        const Choice digit = choice(bits(odd, 5 * i + 1, 5), 5);
        F::select(entry, multiples, digit.index);
        entry.y = F::negated_if(digit.negative, entry.y);
        if (i > 0) sum.add(entry);
    }
    sum.leave();
    const Mask doubling = same<typename F::Called>(total, entry);
    add<F>(total, entry);
    state->doubled = jacobian(entry);
    double_point<F>(state->doubled);
    assign_if(doubling, total, state->doubled);
    total.y = F::negated_if(negative, total.y);
}

/// r = [k]P for a point on the curve, or zeros for infinity, when it returns a set mask. r may be p. Constant time.
template <typename F, template <typename, typename> typename Sum = SumInPlace>
Mask multiply_point(Affine& r, const Affine& p, const U256& k) noexcept {
    Wiped<Jacobian> total;
    sum_point<F, Sum>(*total, p, k);
    return to_affine<typename F::Called>(r, *total);
}

/// base = [k]G and r = [k]P for a point on the curve, or zeros for infinity, when it returns a set mask. r may be p.
/// Constant time. Every point on the curve but infinity has the order n, so both are infinity for the same k.
template <typename F, template <typename, typename> typename Sum = SumInPlace>
Mask multiply_base_and_point(Affine& base, Affine& r, const Affine& p, const U256& k) noexcept {
    struct Sums {
        Extended base;
        Jacobian point;
    };
    Wiped<Sums> sums;
    sum_base<F, Sum>(sums->base, k);
    sum_point<F, Sum>(sums->point, p, k);
    return to_affine<typename F::Called>(base, sums->base, r, sums->point);
}

/// p = p + q for finite q, in every case. If the affine x are equal, add leaves z = 0, and in x the square of the
/// difference of the y.
template <typename F>
void add_vartime(Jacobian& p, const Affine& q) noexcept {
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

/// Walks through the digits of s and t from the top: twice() at each place, add(entry) for a multiple of G or P. P is
/// on the curve. Variable time: nothing here may be secret.
template <typename F, typename Twice, typename Add>
[[gnu::always_inline]] inline void walk_digits_vartime(const U256& s, const Affine& p, const U256& t,
                                                       const Twice& twice, const Add& add) noexcept {
    constexpr int width = 5;
    Affine multiples[1 << (width - 2)];  // p, 3p, .. 15p
    fill_odd_multiples<F>(multiples, p);

    std::int16_t s_digit[257], t_digit[257];
    const int s_length = recode_vartime(s_digit, s, generator_width);
    const int t_length = recode_vartime(t_digit, t, width);
    const auto index = [](int digit) { return (digit < 0 ? -digit : digit) / 2; };
    const auto add_signed = [&](Affine entry, int digit) {
        if (digit < 0) entry.y = F::sub(fe_zero, entry.y);
        add(entry);
    };
    for (int i = (s_length > t_length ? s_length : t_length) - 1; i >= 0; --i) {
        twice();
        const int td = t_digit[i], sd = s_digit[i];
        if (td != 0) add_signed(multiples[index(td)], td);
        if (sd != 0) add_signed(generator_odd[index(sd) / 32][index(sd) % 32], sd);
    }
}

/// [s]G + [t]P for a point on the curve. Variable time: nothing here may be secret.
template <typename F>
[[gnu::noinline]] Jacobian multiply_add_vartime(const U256& s, const Affine& p, const U256& t) noexcept {
    Jacobian total = {fe_one, fe_one, fe_zero};
    walk_digits_vartime<F>(
        s, p, t, [&] { double_point<F>(total); }, [&](const Affine& entry) { add_vartime<F>(total, entry); });
    return total;
}

}  // namespace ulmaro::sm2p256
