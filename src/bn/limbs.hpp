// 256-bit numbers as four 64-bit limbs, the length at which the general curve engine spends nearly all its time. Two
// words make a limb, the lower one first. No branches, and no loops, so that the limbs stay in registers at any level
// of optimisation.
#pragma once

#include <cstdint>
#include <cstring>
#ifdef __x86_64__
#include <immintrin.h>
#endif

#include "base/bytes.hpp"
#include "bn/words.hpp"

namespace ulmaro::bn {

__extension__ typedef unsigned __int128 Wide128;
using Limb = unsigned long long;
static_assert(sizeof(Limb) == 8);

/// A carry or borrow between limbs: 0 or 1. The type keeps it in the processor's carry flag.
using Carry = unsigned char;

constexpr int limb_words = 8;

struct Limbs {
    Limb v[4];
};

inline Limb load_limb(const Word* words) noexcept {
    Limb x;
    std::memcpy(&x, words, sizeof x);
    return x;
}

inline Limbs load(const Word* w) noexcept {
    return {load_limb(w), load_limb(w + 2), load_limb(w + 4), load_limb(w + 6)};
}

inline void store_limb(Word* words, Limb x) noexcept { std::memcpy(words, &x, sizeof x); }

inline void store(Word* w, const Limbs& x) noexcept {
    store_limb(w, x.v[0]);
    store_limb(w + 2, x.v[1]);
    store_limb(w + 4, x.v[2]);
    store_limb(w + 6, x.v[3]);
}

/// a + b + carry; carry becomes the carry out.
inline Limb add_limb(Limb a, Limb b, Carry& carry) noexcept {
#ifdef __x86_64__
    Limb sum;
    carry = _addcarry_u64(carry, a, b, &sum);
    return sum;
#else
    const Wide128 t = Wide128{a} + b + carry;
    carry = static_cast<Carry>(t >> 64);
    return static_cast<Limb>(t);
#endif
}

/// a - b - borrow; borrow becomes the borrow out.
inline Limb sub_limb(Limb a, Limb b, Carry& borrow) noexcept {
#ifdef __x86_64__
    Limb difference;
    borrow = _subborrow_u64(borrow, a, b, &difference);
    return difference;
#else
    const Wide128 t = Wide128{a} - b - borrow;
    borrow = static_cast<Carry>(t >> 127);
    return static_cast<Limb>(t);
#endif
}

/// r = a + b; returns the carry out. r may be a or b.
inline Carry add(Limbs& r, const Limbs& a, const Limbs& b) noexcept {
    Carry carry = 0;
    r.v[0] = add_limb(a.v[0], b.v[0], carry);
    r.v[1] = add_limb(a.v[1], b.v[1], carry);
    r.v[2] = add_limb(a.v[2], b.v[2], carry);
    r.v[3] = add_limb(a.v[3], b.v[3], carry);
    return carry;
}

/// r = a - b; returns the borrow out. r may be a or b.
inline Carry sub(Limbs& r, const Limbs& a, const Limbs& b) noexcept {
    Carry borrow = 0;
    r.v[0] = sub_limb(a.v[0], b.v[0], borrow);
    r.v[1] = sub_limb(a.v[1], b.v[1], borrow);
    r.v[2] = sub_limb(a.v[2], b.v[2], borrow);
    r.v[3] = sub_limb(a.v[3], b.v[3], borrow);
    return borrow;
}

/// a where mask is all ones, zero where it is zero.
inline Limbs masked(const Limbs& a, Limb mask) noexcept {
    return {a.v[0] & mask, a.v[1] & mask, a.v[2] & mask, a.v[3] & mask};
}

/// Subtracts m once from the number (top, a) when that is at least m; top is 0 or 1. Returns the word above the result.
inline Limb reduce_once(Limbs& a, Limb top, const Limbs& m) noexcept {
    const Limb borrow = sub(a, a, m);
    const Limb below = borrow & (top ^ 1);
    add(a, a, masked(m, 0 - below));
    return top - (borrow & top);
}

/// A number of up to six limbs.
struct Sum {
    Limb t0, t1, t2, t3, t4, t5;
};

inline Limb high(Wide128 x) noexcept { return static_cast<Limb>(x >> 64); }
inline Limb low(Wide128 x) noexcept { return static_cast<Limb>(x); }

/// t += a * u. The low halves and the high halves of the products are one carry chain each.
[[gnu::always_inline]] inline void add_product(Sum& t, const Limbs& a, Limb u) noexcept {
    const Wide128 p0 = Wide128{a.v[0]} * u;
    const Wide128 p1 = Wide128{a.v[1]} * u;
    const Wide128 p2 = Wide128{a.v[2]} * u;
    const Wide128 p3 = Wide128{a.v[3]} * u;
    Carry carry = 0;
    t.t0 = add_limb(t.t0, low(p0), carry);
    t.t1 = add_limb(t.t1, low(p1), carry);
    t.t2 = add_limb(t.t2, low(p2), carry);
    t.t3 = add_limb(t.t3, low(p3), carry);
    t.t4 = add_limb(t.t4, 0, carry);
    t.t5 += carry;
    carry = 0;
    t.t1 = add_limb(t.t1, high(p0), carry);
    t.t2 = add_limb(t.t2, high(p1), carry);
    t.t3 = add_limb(t.t3, high(p2), carry);
    t.t4 = add_limb(t.t4, high(p3), carry);
    t.t5 += carry;
}

}  // namespace ulmaro::bn
