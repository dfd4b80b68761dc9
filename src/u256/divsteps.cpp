#include "u256/divsteps.hpp"

#include "base/wipe.hpp"
#if defined(__aarch64__)
#include "u256/arm_divsteps.hpp"
#endif

namespace ulmaro::u256 {
namespace {

__extension__ using SignedWide = __int128;

constexpr std::int64_t mask60 = (std::int64_t{1} << 60) - 1;

// One step takes (delta, f, g), f odd, to
//     (1 - delta, g, (g - f) / 2)           when delta > 0 and g is odd,
//     (1 + delta, f, (g + (g mod 2) f) / 2) otherwise.
// From delta = 1/2 and 0 <= g <= f < 2^256, 590 steps bring g to 0 and f to plus or minus the gcd; further steps change
// only delta. We run ten batches of 60 steps. Steps depend only on the low bits of f and g, so a batch works on those
// and yields a matrix, which is then applied to the full numbers.
constexpr int batches = 10;

// 2^60 times the effect of 60 steps: f' = (u f + v g) / 2^60, g' = (q f + r g) / 2^60.
// Row sums: |u| + |v| <= 2^60 and |q| + |r| <= 2^60.
struct Matrix {
    std::int64_t u, v, q, r;
};

#if !defined(__aarch64__)
struct DivisionSteps {
    std::uint64_t f, g;
    std::int64_t delta;  // kept as -(delta + 1/2): negative exactly when delta is positive

    static constexpr std::int64_t one_half = -1;

    void four() noexcept {
        for (int i = 0; i < 4; ++i) one();
    }

private:
    void one() noexcept {
        std::uint64_t swap = value_barrier(static_cast<std::uint64_t>(delta >> 63));
        const std::uint64_t odd = mask_from_bit(g & 1);
        g += ((f ^ swap) - swap) & odd;
        swap &= odd;
        delta = static_cast<std::int64_t>((static_cast<std::uint64_t>(delta) ^ swap) - 1);
        f += g & swap;
        g = static_cast<std::uint64_t>(static_cast<std::int64_t>(g) >> 1);
    }
};
#endif

// An inversion in progress.
struct State {
    std::int64_t delta;  // as in DivisionSteps
    Signed60 f, g, d, e;
    std::uint64_t low_f, low_g;  // f and g modulo 2^64 within a batch
    Matrix t;                    // of the last twenty steps
    Matrix batch;                // of the batch so far
};

// Twenty steps on one packed word per row: 20 bits of f, then the row of the matrix in two 22-bit fields,
//     F = f + 2^20 u + 2^42 v,  G = g + 2^20 q + 2^42 r,
// every field signed and borrowing from the one above. The matrix starts as 2^20 times the identity, so halving the
// word halves every field exactly. Ranges: f and g in [-2^19, 2^19), row sums at most 2^20 in absolute value.
// Each step waits for the one before; inversions side by side fill the gaps.
template <int N>
requires(N == 1 || N == 2) void twenty_steps(State (&s)[N]) noexcept {
    constexpr std::uint64_t half = std::uint64_t{1} << 19;
    DivisionSteps steps[N];
    for (int n = 0; n < N; ++n) {
        const std::uint64_t f = ((s[n].low_f + half) & 0xfffff) - half + (std::uint64_t{1} << 40);
        const std::uint64_t g = ((s[n].low_g + half) & 0xfffff) - half + (std::uint64_t{1} << 62);
        steps[n] = {f, g, s[n].delta};
    }
#pragma GCC unroll 5
    for (int i = 0; i < 5; ++i) {
        steps[0].four();
        if constexpr (N == 2) steps[1].four();
    }
    const auto low_field = [](std::uint64_t x) { return static_cast<std::int64_t>((x + half) << 22) >> 42; };
    const auto high_field = [](std::uint64_t x) {
        return static_cast<std::int64_t>(x + half + (std::uint64_t{1} << 41)) >> 42;
    };
    for (int n = 0; n < N; ++n) {
        const auto& [f, g, delta] = steps[n];
        s[n].delta = delta;
        s[n].t = {low_field(f), high_field(f), low_field(g), high_field(g)};
    }
}

// The matrix of b's steps followed by a's; the scales multiply.
Matrix after(const Matrix& a, const Matrix& b) noexcept {
    return {a.u * b.u + a.v * b.q, a.u * b.v + a.v * b.r, a.q * b.u + a.r * b.q, a.q * b.v + a.r * b.r};
}

// The steps of a batch, which consume the low 60 bits of f and g.
template <int N>
void sixty_steps(State (&states)[N]) noexcept {
    const auto low = [](const Signed60& x) {
        return static_cast<std::uint64_t>(x.limb[0]) | static_cast<std::uint64_t>(x.limb[1]) << 60;
    };
    for (State& s : states) {
        s.low_f = low(s.f);
        s.low_g = low(s.g);
        s.batch = {1, 0, 0, 1};
    }
    for (int i = 0; i < 3; ++i) {
        twenty_steps(states);
        for (State& s : states) {
            const auto row = [&s](std::int64_t u, std::int64_t v) {
                return (static_cast<std::uint64_t>(u) * s.low_f + static_cast<std::uint64_t>(v) * s.low_g) >> 20;
            };
            const std::uint64_t f = row(s.t.u, s.t.v);
            s.low_g = row(s.t.q, s.t.r);
            s.low_f = f;
            s.batch = after(s.t, s.batch);
        }
    }
}

SignedWide product(std::int64_t a, std::int64_t b) noexcept { return static_cast<SignedWide>(a) * b; }

std::int64_t low60(SignedWide x) noexcept { return static_cast<std::int64_t>(x) & mask60; }

// (f, g) becomes ((u f + v g) / 2^60, (q f + r g) / 2^60); both divisions are exact. |f|, |g| <= 2^256 throughout.
void apply(Signed60& f, Signed60& g, const Matrix& t) noexcept {
    SignedWide cf = product(t.u, f.limb[0]) + product(t.v, g.limb[0]);
    SignedWide cg = product(t.q, f.limb[0]) + product(t.r, g.limb[0]);
#pragma GCC unroll 4
    for (int i = 1; i < 5; ++i) {
        cf = (cf >> 60) + product(t.u, f.limb[i]) + product(t.v, g.limb[i]);
        cg = (cg >> 60) + product(t.q, f.limb[i]) + product(t.r, g.limb[i]);
        f.limb[i - 1] = low60(cf);
        g.limb[i - 1] = low60(cg);
    }
    f.limb[4] = static_cast<std::int64_t>(cf >> 60);
    g.limb[4] = static_cast<std::int64_t>(cg >> 60);
}

// The same modulo m for (d, e), where f = d x and g = e x modulo m up to the factor. In and out in (-2m, m): m is
// added to a negative input, which gives (-m, m); the row sums keep the combination in (-2^60 m, 2^60 m); subtracting
// less than 2^60 m to make it divisible gives (-2^61 m, 2^60 m) before the division.
void apply_modulo(Signed60& d, Signed60& e, const Matrix& t, const InversionModulus& m) noexcept {
    const std::int64_t d_sign = d.limb[4] >> 63;
    const std::int64_t e_sign = e.limb[4] >> 63;
    SignedWide cd = product(t.u, d.limb[0]) + product(t.v, e.limb[0]);
    SignedWide ce = product(t.q, d.limb[0]) + product(t.r, e.limb[0]);
    const auto multiple = [&m](std::int64_t from_signs, SignedWide low) {
        const std::uint64_t excess =
            m.inverse * static_cast<std::uint64_t>(low) + static_cast<std::uint64_t>(from_signs);
        return from_signs - (static_cast<std::int64_t>(excess) & mask60);
    };
    const std::int64_t md = multiple((t.u & d_sign) + (t.v & e_sign), cd);
    const std::int64_t me = multiple((t.q & d_sign) + (t.r & e_sign), ce);
    cd += product(m.modulus.limb[0], md);
    ce += product(m.modulus.limb[0], me);
#pragma GCC unroll 4
    for (int i = 1; i < 5; ++i) {
        cd = (cd >> 60) + product(t.u, d.limb[i]) + product(t.v, e.limb[i]) + product(m.modulus.limb[i], md);
        ce = (ce >> 60) + product(t.q, d.limb[i]) + product(t.r, e.limb[i]) + product(m.modulus.limb[i], me);
        d.limb[i - 1] = low60(cd);
        e.limb[i - 1] = low60(ce);
    }
    d.limb[4] = static_cast<std::int64_t>(cd >> 60);
    e.limb[4] = static_cast<std::int64_t>(ce >> 60);
}

// x, plus m if one mask is set, then negated if the other is; limbs normalised.
void adjust(Signed60& x, Mask add_modulus, Mask negate, const Signed60& m) noexcept {
    std::int64_t carry = 0;
    for (int i = 0; i < 5; ++i) {
        std::int64_t limb = x.limb[i] + (m.limb[i] & static_cast<std::int64_t>(add_modulus));
        limb = (limb ^ static_cast<std::int64_t>(negate)) - static_cast<std::int64_t>(negate) + carry;
        x.limb[i] = i < 4 ? limb & mask60 : limb;
        carry = limb >> 60;
    }
}

Mask sign_mask(const Signed60& x) noexcept { return value_barrier(static_cast<std::uint64_t>(x.limb[4] >> 63)); }

void start(State& s, const Limbs& a, const InversionModulus& m) noexcept {
    s.delta = DivisionSteps::one_half;
    s.f = m.modulus;
    s.g = to_signed60(a);
    s.d = {};
    s.e = m.factor;
}

// f is plus or minus the gcd: 1 if there is an inverse; the modulus if a was 0, and then d is 0. d is in (-2m, m).
void finish(Limbs& r, State& s, const InversionModulus& m) noexcept {
    adjust(s.d, sign_mask(s.d), sign_mask(s.f), m.modulus);
    adjust(s.d, sign_mask(s.d), 0, m.modulus);
    const auto limb = [&s](int i) { return static_cast<std::uint64_t>(s.d.limb[i]); };
    r[0] = limb(0) | limb(1) << 60;
    r[1] = limb(1) >> 4 | limb(2) << 56;
    r[2] = limb(2) >> 8 | limb(3) << 52;
    r[3] = limb(3) >> 12 | limb(4) << 48;
}

template <int N>
void run(State (&states)[N], const InversionModulus* const (&m)[N]) noexcept {
    for (int i = 0; i < batches; ++i) {
        sixty_steps(states);
        for (int n = 0; n < N; ++n) {
            apply(states[n].f, states[n].g, states[n].batch);
            apply_modulo(states[n].d, states[n].e, states[n].batch, *m[n]);
        }
    }
}

}  // namespace

void invert(Limbs& r, const Limbs& a, const InversionModulus& m) noexcept {
    Wiped<State[1]> states;
    start((*states)[0], a, m);
    run(*states, {&m});
    finish(r, (*states)[0], m);
}

void invert_two(Limbs& r0, const InversionModulus& m0, Limbs& r1, const InversionModulus& m1) noexcept {
    Wiped<State[2]> states;
    start((*states)[0], r0, m0);
    start((*states)[1], r1, m1);
    run(*states, {&m0, &m1});
    finish(r0, (*states)[0], m0);
    finish(r1, (*states)[1], m1);
}

}  // namespace ulmaro::u256
