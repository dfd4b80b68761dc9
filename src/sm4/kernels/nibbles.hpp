// Rounds of SM4 from look-ups of 16 entries in registers, in the basis of half bytes (basis.hpp). Lanes supplies
// look_up, whose result is 0 for an index with the high bit set, low_nibbles and high_nibbles, and high_nibbles_in_word
// for words in the form of take_word.
#pragma once

#include <cstddef>
#include <cstdint>

#include "sm4/kernels/basis.hpp"

namespace ulmaro::sm4 {
namespace {

template <typename Lanes>
struct Nibbles : Lanes {
    using Vector = typename Lanes::Vector;
    using Lanes::add;
    using Lanes::high_nibbles;
    using Lanes::look_up;
    using Lanes::low_nibbles;

    template <typename V>
    static V look_up(const basis::NibbleTables& m, V low, V high) {
        return add(look_up(m.low, low), look_up(m.high, high));
    }
    template <typename V>
    static V map(V v, const basis::NibbleTables& m) {
        return look_up(m, low_nibbles(v), high_nibbles(v));
    }

    static Vector enter(Vector v) { return map(v, table_enter); }
    static Vector enter_key(Vector v, std::size_t round) {
        return add(map(v, table_enter_key), Lanes::repeat(basis::nibbles::missing_constants[round / 4 % 2]));
    }
    static Vector leave(Vector v) { return map(v, table_leave); }

    /// From the halves i and k of bytes, the two results that index the tables of what follows.
    template <typename V>
    static void invert(V i, V k, V& first, V& second) {
        const V sum = add(i, k);
        const V a_over_k = look_up(basis::nibbles::a_over, k);
        const V with_i = add(look_up(basis::nibbles::one_over, i), a_over_k);
        const V with_sum = add(look_up(basis::nibbles::one_over, sum), a_over_k);
        first = add(look_up(basis::nibbles::one_over, with_i), sum);
        second = add(look_up(basis::nibbles::one_over, with_sum), i);
    }

    /// f of S(a + b + key), and g of it rotated by one byte; both without their constants.
    static void substitute(Vector a, Vector b, Vector key, Vector& f, Vector& g) {
        Vector first, second;
        const Vector t = add(a, b, key);
        invert(high_nibbles(t), low_nibbles(t), first, second);
        f = look_up(basis::nibbles::f, first, second);
        g = Lanes::rotate1(look_up(basis::nibbles::g, first, second));
    }

    /// f, g and f + g of S(a + b) for a word.
    template <typename V>
    static void substitute_in_word(V a, V b, V& f, V& g, V& sum) {
        V first, second;
        const V t = add(a, b);
        invert(Lanes::high_nibbles_in_word(t), low_nibbles(t), first, second);
        f = look_up(basis::nibbles::f, first, second);
        g = look_up(basis::nibbles::g, first, second);
        sum = look_up(basis::nibbles::sum, first, second);
    }

    /// S of every byte of a word that is not in the basis.
    template <typename V>
    static V substitute_word(V v) {
        V first, second;
        const V t = map(v, table_enter_key);
        invert(high_nibbles(t), low_nibbles(t), first, second);
        return add(look_up(basis::nibbles::sbox, first, second), Lanes::fill(basis::sbox_after_inverse.constant));
    }

private:
    static constexpr basis::NibbleTables table_enter = basis::nibble_tables(basis::nibbles::enter);
    static constexpr basis::NibbleTables table_enter_key = basis::nibble_tables(basis::nibbles::enter_key);
    static constexpr basis::NibbleTables table_leave = basis::nibble_tables(basis::nibbles::leave);
};

}  // namespace
}  // namespace ulmaro::sm4
