// Slow, obvious arithmetic modulo a 256-bit number, and the numbers worth testing with.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>
#include <ostream>
#include <vector>

#include "support/bytes.hpp"
#include "support/random.hpp"
#include "u256/limbs.hpp"

namespace ulmaro::u256 {

inline bool operator==(const U256& a, const U256& b) { return std::equal(a.w, a.w + 4, b.w); }

inline void PrintTo(const U256& a, std::ostream* out) {
    for (int i = 3; i >= 0; --i) *out << std::hex << a.w[i] << (i > 0 ? "'" : "");
}

}  // namespace ulmaro::u256

namespace ulmaro::test {

using u256::U256;

inline Bytes be(const U256& a) {
    Bytes bytes(32);
    u256::store_be(bytes.data(), a.w);
    return bytes;
}

inline U256 number(const Bytes& bytes) {
    U256 r;
    u256::load_be(r.w, bytes.data());
    return r;
}

inline U256 number(std::uint64_t low) { return {{low, 0, 0, 0}}; }

/// Arithmetic of residues on 32-bit words; it shares nothing with the code under test.
struct SlowModulus {
    U256 m;

    U256 plus(const U256& a, const U256& b) const {
        Words sum = words(a);
        const Words addend = words(b), modulus = words(m);
        std::uint64_t carry = 0;
        for (std::size_t i = 0; i < sum.size(); ++i, carry >>= 32) {
            carry += std::uint64_t{sum[i]} + addend[i];
            sum[i] = static_cast<std::uint32_t>(carry);
        }
        while (!std::lexicographical_compare(sum.rbegin(), sum.rend(), modulus.rbegin(), modulus.rend())) {
            subtract(sum, modulus);
        }
        return value(sum);
    }
    U256 negative(const U256& a) const {
        Words difference = words(m);
        subtract(difference, words(a));
        return reduced(value(difference));
    }
    U256 minus(const U256& a, const U256& b) const { return plus(a, negative(b)); }
    U256 times(const U256& a, const U256& b) const {
        U256 r = {};
        for (int i = 255; i >= 0; --i) {
            r = plus(r, r);
            if ((b.w[i / 64] >> (i % 64) & 1) != 0) r = plus(r, a);
        }
        return r;
    }
    U256 reduced(const U256& a) const { return plus(a, {}); }

private:
    using Words = std::array<std::uint32_t, 9>;

    static Words words(const U256& a) {
        Words r = {};
        for (std::size_t i = 0; i < 8; ++i) r[i] = static_cast<std::uint32_t>(a.w[i / 2] >> (32 * (i % 2)));
        return r;
    }
    static U256 value(const Words& a) {
        U256 r = {};
        for (std::size_t i = 0; i < 8; ++i) r.w[i / 2] |= std::uint64_t{a[i]} << (32 * (i % 2));
        return r;
    }
    static void subtract(Words& a, const Words& b) {
        std::int64_t borrow = 0;
        for (std::size_t i = 0; i < a.size(); ++i, borrow >>= 32) {
            borrow += std::int64_t{a[i]} - std::int64_t{b[i]};
            a[i] = static_cast<std::uint32_t>(borrow);
        }
    }
};

inline U256 random256(Random& random) { return number(random.bytes(32)); }

/// Around zero, the modulus, 2^256 and limb borders; runs of ones and zeros; single bits. Some exceed the modulus.
inline std::vector<U256> edges(const U256& m) {
    constexpr std::uint64_t ones = ~std::uint64_t{0};
    std::vector<U256> r = {number(0),
                           number(1),
                           number(2),
                           number(3),
                           number(ones),
                           {{0, ones, 0, ones}},
                           {{ones, 0, ones, 0}},
                           {{ones, ones, ones, ones}}};
    for (std::uint64_t d = 0; d < 4; ++d) {
        U256 below = m, above = m;
        below.w[0] -= d;
        above.w[0] += d;
        r.push_back(below);
        r.push_back(above);
    }
    for (const int bit : {31, 32, 63, 64, 96, 128, 160, 191, 192, 224, 252, 255}) {
        U256 power = {}, run = {};
        power.w[bit / 64] = std::uint64_t{1} << (bit % 64);
        for (int i = 0; i < bit; ++i) run.w[i / 64] |= std::uint64_t{1} << (i % 64);
        r.push_back(power);
        r.push_back(run);
    }
    return r;
}

}  // namespace ulmaro::test
