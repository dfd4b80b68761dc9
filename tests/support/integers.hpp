// Conversions between GMP integers and the library's numbers.
#pragma once

#include <gmpxx.h>

#include "UlmaroAlgrithm.h"
#include "support/bytes.hpp"

namespace ulmaro::test {

using Integer = mpz_class;

inline Integer from_be(std::span<const unsigned char> bytes) {
    Integer a;
    mpz_import(a.get_mpz_t(), bytes.size(), 1, 1, 0, 0, bytes.data());
    return a;
}
inline Integer from_be(std::string_view hex) { return from_be(from_hex(hex)); }

/// For a below 2^256.
inline Bytes be32(const Integer& a) {
    Bytes bytes(32);
    const std::size_t used = a == 0 ? 0 : (mpz_sizeinbase(a.get_mpz_t(), 2) + 7) / 8;
    mpz_export(bytes.data() + (32 - used), nullptr, 1, 1, 0, 0, a.get_mpz_t());
    return bytes;
}

/// Words or limbs, least significant first.
template <class Word>
Integer value(std::span<const Word> words) {
    Integer a;
    mpz_import(a.get_mpz_t(), words.size(), -1, sizeof(Word), 0, 0, words.data());
    return a;
}

/// The number in any record of words or limbs, as it is in memory; words above it become zero.
template <class Record>
Record record_of(const Integer& a) {
    Record r = {};
    mpz_export(&r, nullptr, -1, 4, 0, 0, a.get_mpz_t());
    return r;
}
template <class Record>
Integer value_of(const Record& r, std::size_t words = 8) {
    return value(std::span(reinterpret_cast<const unsigned int*>(&r), words));
}

inline Integer power_of_two(unsigned bit) { return Integer(1) << bit; }

/// The residue in [0, m); 0 for m = 0.
inline Integer mod(const Integer& a, const Integer& m) {
    Integer r;
    if (m != 0) mpz_mod(r.get_mpz_t(), a.get_mpz_t(), m.get_mpz_t());
    return r;
}

/// 0 if there is no inverse.
inline Integer inverse(const Integer& a, const Integer& m) {
    Integer r;
    return m != 0 && mpz_invert(r.get_mpz_t(), a.get_mpz_t(), m.get_mpz_t()) != 0 ? r : Integer(0);
}

inline bool is_prime(const Integer& m) { return mpz_probab_prime_p(m.get_mpz_t(), 10) != 0; }

/// The numbers below 2^256 worth testing with: around 0, m, m / 2 and 2^256; single bits and runs of ones that end at
/// word and limb boundaries; limbs of all zeros and all ones in every order.
inline std::vector<Integer> edges(const Integer& m) {
    std::vector<Integer> r;
    for (int d = 0; d < 4; ++d) {
        for (const Integer& at :
             {Integer(d), Integer(m - d), Integer(m + d), Integer(m / 2 + d - 1), Integer(power_of_two(256) - 1 - d)}) {
            r.push_back(mod(at, power_of_two(256)));
        }
    }
    for (const unsigned bit : {31U, 32U, 63U, 64U, 96U, 127U, 128U, 160U, 191U, 192U, 224U, 252U, 255U}) {
        const Integer power = power_of_two(bit);
        r.insert(r.end(), {power, Integer(power - 1), Integer(power_of_two(256) - power)});
    }
    for (unsigned limbs = 1; limbs < 15; ++limbs) {
        std::uint64_t a[4];
        for (unsigned i = 0; i < 4; ++i) a[i] = 0 - std::uint64_t{limbs >> i & 1};
        r.push_back(value(std::span<const std::uint64_t>(a)));
    }
    return r;
}

}  // namespace ulmaro::test
