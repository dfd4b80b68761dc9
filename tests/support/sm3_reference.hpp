// The compression of GM/T 0004 clause 5.3, transcribed step by step: slow and independent of the library.
#pragma once

#include <array>
#include <bit>
#include <span>

namespace ulmaro::test {

using Words8 = std::array<unsigned int, 8>;

inline constexpr Words8 sm3_iv = {0x7380166f, 0x4914b2b9, 0x172442d7, 0xda8a0600,
                                  0xa96f30bc, 0x163138aa, 0xe38dee4d, 0xb0fb0e4e};

struct Sm3Schedule {
    std::array<unsigned int, 68> w;
    std::array<unsigned int, 64> w_prime;
};

inline Sm3Schedule sm3_expand(std::span<const unsigned int> block) {
    Sm3Schedule s{};
    for (std::size_t j = 0; j < 68; ++j) {
        if (j < 16) {
            s.w[j] = block[j];
            continue;
        }
        const unsigned int x = s.w[j - 16] ^ s.w[j - 9] ^ std::rotl(s.w[j - 3], 15);
        s.w[j] = x ^ std::rotl(x, 15) ^ std::rotl(x, 23) ^ std::rotl(s.w[j - 13], 7) ^ s.w[j - 6];
    }
    for (std::size_t j = 0; j < 64; ++j) s.w_prime[j] = s.w[j] ^ s.w[j + 4];
    return s;
}

inline Words8 sm3_compress(const Words8& v, const Sm3Schedule& s, std::span<const unsigned int> constants) {
    auto [a, b, c, d, e, f, g, h] = v;
    for (int j = 0; j < 64; ++j) {
        const auto i = static_cast<std::size_t>(j);
        const unsigned int ss1 = std::rotl(std::rotl(a, 12) + e + std::rotl(constants[i], j % 32), 7);
        const unsigned int ss2 = ss1 ^ std::rotl(a, 12);
        const unsigned int ff = j < 16 ? a ^ b ^ c : (a & b) | (a & c) | (b & c);
        const unsigned int gg = j < 16 ? e ^ f ^ g : (e & f) | (~e & g);
        const unsigned int tt1 = ff + d + ss2 + s.w_prime[i];
        const unsigned int tt2 = gg + h + ss1 + s.w[i];
        d = c, c = std::rotl(b, 9), b = a, a = tt1;
        h = g, g = std::rotl(f, 19), f = e, e = tt2 ^ std::rotl(tt2, 9) ^ std::rotl(tt2, 17);
    }
    const Words8 registers = {a, b, c, d, e, f, g, h};
    Words8 result;
    for (std::size_t i = 0; i < 8; ++i) result[i] = v[i] ^ registers[i];
    return result;
}

}  // namespace ulmaro::test
