// GMP's integers beside the library's numbers, and the integers worth fuzzing with.
#pragma once

#include <gmpxx.h>

#include "UlmaroAlgrithm.h"
#include "bn/bytes.hpp"
#include "fuzz/fuzz.hpp"

namespace ulmaro::fuzz {

using Integer = mpz_class;

inline Integer from_be(std::span<const unsigned char> bytes) {
    Integer a;
    mpz_import(a.get_mpz_t(), bytes.size(), 1, 1, 0, 0, bytes.data());
    return a;
}

/// For a below 2^256.
inline Bytes be32(const Integer& a) {
    Bytes bytes(32);
    const std::size_t used = a == 0 ? 0 : (mpz_sizeinbase(a.get_mpz_t(), 2) + 7) / 8;
    mpz_export(bytes.data() + (32 - used), nullptr, 1, 1, 0, 0, a.get_mpz_t());
    return bytes;
}

inline bignum_st words_of(const Integer& a) {
    bignum_st words;
    bn::from_be32(words, be32(a).data());
    return words;
}

inline Integer power_of_two(unsigned bit) { return Integer(1) << bit; }

/// The residue in [0, m).
inline Integer mod(const Integer& a, const Integer& m) {
    Integer r;
    mpz_mod(r.get_mpz_t(), a.get_mpz_t(), m.get_mpz_t());
    return r;
}

/// 0 where there is no inverse.
inline Integer inverse(const Integer& a, const Integer& m) {
    Integer r;
    return mpz_invert(r.get_mpz_t(), a.get_mpz_t(), m.get_mpz_t()) != 0 ? r : Integer(0);
}

/// A number below 2^256: around 0, m, m / 2 and 2^256, single bits, runs of ones, sparse ones, or any bytes at all.
inline Integer take_number(Data& data, const Integer& m) {
    const unsigned a = data.ConsumeIntegral<std::uint8_t>(), b = data.ConsumeIntegral<std::uint8_t>();
    Integer r;
    switch (data.ConsumeIntegralInRange(0, 9)) {
        case 0:
            r = a;
            break;
        case 1:
            r = m - a;
            break;
        case 2:
            r = m + a;
            break;
        case 3:
            r = m / 2 + a - 128;
            break;
        case 4:
            r = power_of_two(256) - 1 - a;
            break;
        case 5:
            r = power_of_two(a);
            break;
        case 6:
            r = power_of_two(a) - 1;
            break;
        case 7:
            r = power_of_two(a) + power_of_two(b);
            break;
        case 8:
            r = power_of_two(a) - power_of_two(b);
            break;
        default:
            r = from_be(take(data, 32));
    }
    return mod(r, power_of_two(256));
}

}  // namespace ulmaro::fuzz
