// The maps that let the AES S-box, or any inversion in the AES field, stand in for the S-box of SM4.
//
// Both S-boxes are inversions in GF(2^8) between affine maps, over different polynomials:
//     SM4(x) = A inv(A x + c) + c    modulo x^8 + x^7 + x^6 + x^5 + x^4 + x^2 + 1
//     AES(y) = B inv(y) + 63         modulo x^8 + x^4 + x^3 + x + 1
// All fields of 256 elements are isomorphic: let phi carry the first to the second. Kernels keep every state byte x as
// E x, where E = phi A. Then a round adds the key in the form E k + phi(c), inverts in the AES field, and goes back by
//     S(y) = A phi^-1 y + c          for y = inv(...)
//     S(y) = A phi^-1 B^-1(y + 63) + c    for y = AES(...)
//
// The linear layer L of a round acts on the bytes b0..b3 of a word (b0 the most significant, and first in memory) as
//     L(b)_i = P b_i + (P + Q) b_(i+1) + (P + Q) b_(i+2) + Q b_(i+3),  P b = b + (b << 2),  Q b = b + (b >> 6)
// with indices modulo 4 and shifts inside the byte. With k_i = f_i + g_(i+1), f = P b, g = Q b, this is
//     L(b)_i = k_i + k_(i+1) + k_(i+2)
// so what follows an inversion is two byte maps, E P S and E Q S, and rotations of words by whole bytes.
//
// Everything here is evaluated by the compiler. The names are local to each kernel file, so that none can lend another
// a copy built for instructions that the processor may lack.
#pragma once

#include <cstdint>

namespace ulmaro::sm4 {
namespace {
namespace basis {

/// An affine map of bytes: x -> constant + sum of image[j] over the bits j of x.
struct ByteMap {
    std::uint8_t image[8];
    std::uint8_t constant;

    constexpr std::uint8_t operator()(unsigned x) const {
        std::uint8_t y = constant;
        for (unsigned j = 0; j < 8; ++j) y = static_cast<std::uint8_t>(y ^ ((x >> j & 1) != 0 ? image[j] : 0));
        return y;
    }
};

/// The affine map that agrees with f; f must be one.
template <typename F>
constexpr ByteMap affine(F f) {
    ByteMap map{};
    map.constant = static_cast<std::uint8_t>(f(0u));
    for (unsigned j = 0; j < 8; ++j) map.image[j] = static_cast<std::uint8_t>(f(1u << j) ^ map.constant);
    return map;
}

constexpr ByteMap linear_part(const ByteMap& map) {
    ByteMap linear = map;
    linear.constant = 0;
    return linear;
}

constexpr ByteMap inverse(const ByteMap& map) {
    return affine([&](unsigned y) {
        unsigned x = 0;
        while (map(x) != y) ++x;
        return x;
    });
}

constexpr unsigned aes_field_product(unsigned a, unsigned b) {
    unsigned product = 0;
    for (; b != 0; b >>= 1) {
        if ((b & 1) != 0) product ^= a;
        a <<= 1;
        if ((a & 0x100) != 0) a ^= 0x11b;
    }
    return product;
}

/// The value at r of the polynomial over GF(2) whose coefficients are the bits of p.
constexpr unsigned aes_field_evaluate(unsigned p, unsigned r) {
    unsigned value = 0;
    for (int j = 8; j >= 0; --j) value = aes_field_product(value, r) ^ (p >> j & 1);
    return value;
}

/// phi: x goes to a root, in the AES field, of the polynomial of SM4's field.
inline constexpr ByteMap isomorphism = [] {
    unsigned root = 2;
    while (aes_field_evaluate(0x1f5, root) != 0) ++root;
    return affine([=](unsigned x) { return aes_field_evaluate(x, root); });
}();

/// A x + c: A is the circulant matrix of the rotations of one row.
inline constexpr ByteMap sm4_affine = affine([](unsigned x) {
    unsigned y = 0xd3;
    for (unsigned j = 0; j < 8; ++j) {
        const unsigned row = (0xa7u << j | 0xa7u >> (8 - j)) & 0xff;
        y ^= static_cast<unsigned>(__builtin_parity(row & x)) << j;
    }
    return y;
});

/// B y + 63, for an inverse y.
inline constexpr ByteMap aes_affine = affine([](unsigned y) {
    const unsigned twice = y * 0x101;
    return (y ^ twice >> 4 ^ twice >> 5 ^ twice >> 6 ^ twice >> 7 ^ 0x63) & 0xff;
});

/// The basis of the kernels: into it, into it for round keys, out of it.
inline constexpr ByteMap enter_key = affine([](unsigned x) { return isomorphism(sm4_affine(x)); });
inline constexpr ByteMap enter = affine([](unsigned x) { return enter_key(x) ^ enter_key(0); });
inline constexpr ByteMap leave = inverse(enter);

/// The maps that follow an inversion: f, g and f + g; they share their only root.
struct AfterInversion {
    ByteMap f, g, sum;
    std::uint8_t root;
};

template <typename S>
constexpr AfterInversion after(S sbox_output) {
    const auto f = [=](unsigned y) { return enter((sbox_output(y) ^ sbox_output(y) << 2) & 0xff); };
    const auto g = [=](unsigned y) { return enter(sbox_output(y) ^ sbox_output(y) >> 6); };
    return {affine(f), affine(g), affine([=](unsigned y) { return f(y) ^ g(y); }), inverse(affine(sbox_output))(0)};
}

inline constexpr ByteMap undo_isomorphism = inverse(isomorphism);
inline constexpr ByteMap undo_aes_affine = inverse(aes_affine);

/// The output of the S-box, from the result of the instruction for a byte that enter_key has mapped.
inline constexpr ByteMap sbox_after_inverse = affine([](unsigned y) { return sm4_affine(undo_isomorphism(y)); });
inline constexpr ByteMap sbox_after_aes = affine([](unsigned y) { return sbox_after_inverse(undo_aes_affine(y)); });

inline constexpr AfterInversion after_inverse =
    after([](unsigned y) { return static_cast<unsigned>(sbox_after_inverse(y)); });
inline constexpr AfterInversion after_aes = after([](unsigned y) { return static_cast<unsigned>(sbox_after_aes(y)); });

/// Sixteen bytes for a register: a table that a shuffle looks up, or the positions that it takes bytes from.
struct alignas(16) Table {
    std::uint8_t byte[16];
};

constexpr Table all(std::uint8_t byte) {
    Table t{};
    for (auto& b : t.byte) b = byte;
    return t;
}

/// A byte map as two look-ups: map(x) = low[x & 15] + high[x >> 4].
struct NibbleTables {
    Table low, high;
};

constexpr NibbleTables nibble_tables(const ByteMap& map) {
    NibbleTables t{};
    for (unsigned j = 0; j < 16; ++j) {
        t.low.byte[j] = map(j);
        t.high.byte[j] = map(j << 4) ^ map.constant;
    }
    return t;
}

/// The linear part of a map as the GFNI instructions take it: byte 7 - i holds the row of output bit i.
constexpr std::uint64_t gfni_matrix(const ByteMap& map) {
    std::uint64_t matrix = 0;
    for (unsigned i = 0; i < 8; ++i)
        for (unsigned j = 0; j < 8; ++j)
            matrix |= static_cast<std::uint64_t>(map.image[j] >> i & 1) << (8 * (7 - i) + j);
    return matrix;
}

/// Rotates words of four bytes: byte i becomes byte i + bytes.
constexpr Table rotate_words(unsigned bytes) {
    Table t{};
    for (unsigned i = 0; i < 16; ++i) t.byte[i] = static_cast<std::uint8_t>((i & 12) | ((i + bytes) & 3));
    return t;
}

/// The same after undoing the row shift of an AES instruction, which took byte i of word w from word w + i.
constexpr Table unshift_rows_rotate_words(unsigned bytes) {
    Table t{};
    for (unsigned i = 0; i < 16; ++i) {
        const unsigned row = (i + bytes) & 3;
        t.byte[i] = static_cast<std::uint8_t>((((i >> 2) - row) & 3) * 4 + row);
    }
    return t;
}

/// Four words of round keys: their bytes, most significant first, in the order of the words or from the last.
inline constexpr Table reverse_bytes_of_words = {{3, 2, 1, 0, 7, 6, 5, 4, 11, 10, 9, 8, 15, 14, 13, 12}};
inline constexpr Table reverse_bytes = {{15, 14, 13, 12, 11, 10, 9, 8, 7, 6, 5, 4, 3, 2, 1, 0}};

/// Byte i of one word goes to the first byte of column i, and zero to the others (0x80 makes a shuffle write it).
constexpr Table spread_word(unsigned word) {
    Table t = all(0x80);
    for (unsigned i = 0; i < 4; ++i) t.byte[4 * i] = static_cast<std::uint8_t>(4 * word + i);
    return t;
}
inline constexpr Table spread_words[4] = {spread_word(0), spread_word(1), spread_word(2), spread_word(3)};

/// The way back, with zero in place of the other words.
constexpr Table collect_word(unsigned word) {
    Table t = all(0x80);
    for (unsigned i = 0; i < 4; ++i) t.byte[4 * word + i] = static_cast<std::uint8_t>(4 * i);
    return t;
}
inline constexpr Table collect_words[4] = {collect_word(0), collect_word(1), collect_word(2), collect_word(3)};

}  // namespace basis
}  // namespace
}  // namespace ulmaro::sm4
