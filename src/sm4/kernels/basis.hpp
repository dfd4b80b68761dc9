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

// The same inversion from look-ups of 16 entries, for processors that only have those in registers. An element of the
// AES field is i z + k, with i and k in its subfield of 16 elements and z chosen so that z + z' = z z' = a, where z' is
// the other root. With n = k^2 + a i k + a i^2, the product of the element and its conjugate,
//     1 / (1/i + a/k) + i + k = n / (k + a i)         1 / (1/(i + k) + a/k) + i = n / (k + a (i + k))
// and the right sides are the reciprocals of two linear combinations of the inverse's halves. So five look-ups give
// both, and whatever linear map follows takes one more each. Reciprocals of 0 are `infinite`: adding to it leaves the
// high bit, and a look-up by it gives 0, which is right in every case: for i = 0, k = 0, k = a i, and both 0.
namespace nibbles {

constexpr unsigned product(unsigned a, unsigned b) { return aes_field_product(a, b); }

constexpr unsigned power(unsigned a, unsigned n) {
    unsigned value = 1;
    for (; n != 0; --n) value = product(value, a);
    return value;
}

constexpr unsigned reciprocal(unsigned a) { return power(a, 254); }

/// Half a byte as an element of the subfield, whose basis is the powers of one of order 15.
constexpr unsigned element(unsigned nibble) {
    constexpr unsigned root = power(3, 17);  // 3 generates the field
    unsigned value = 0, step = 1;
    for (; nibble != 0; nibble >>= 1, step = product(step, root)) value ^= (nibble & 1) != 0 ? step : 0;
    return value;
}

constexpr unsigned nibble(unsigned value) {
    unsigned n = 0;
    while (element(n) != value) ++n;
    return n;
}

inline constexpr unsigned z = [] {
    // 3 is not in the subfield, and a multiple of it has equal trace and norm.
    const unsigned trace = 3 ^ power(3, 16), norm = power(3, 17);
    return product(3, product(trace, reciprocal(norm)));
}();
inline constexpr unsigned a = z ^ power(z, 16);
static_assert(a == power(z, 17));

/// From the field to bytes i << 4 | k.
inline constexpr ByteMap split =
    inverse(affine([](unsigned byte) { return product(element(byte >> 4), z) ^ element(byte & 15); }));

inline constexpr ByteMap enter = affine([](unsigned x) { return split(basis::enter(x)); });
inline constexpr ByteMap enter_key = affine([](unsigned x) { return split(basis::enter_key(x)); });
inline constexpr ByteMap leave = inverse(enter);

inline constexpr std::uint8_t infinite = 0x80;

/// f(x) for the 16 elements, as a table by nibbles; f(0) is infinite.
template <typename F>
constexpr Table reciprocals(F f) {
    Table t{};
    t.byte[0] = infinite;
    for (unsigned j = 1; j < 16; ++j) t.byte[j] = static_cast<std::uint8_t>(nibble(f(element(j))));
    return t;
}
inline constexpr Table one_over = reciprocals([](unsigned x) { return reciprocal(x); });
inline constexpr Table a_over = reciprocals([](unsigned x) { return product(a, reciprocal(x)); });

/// The linear part of a map that follows the inversion, by the two results.
constexpr NibbleTables after(const ByteMap& map) {
    const ByteMap linear = linear_part(map);
    const unsigned b = reciprocal(a);
    NibbleTables t{};
    for (unsigned j = 1; j < 16; ++j) {
        const unsigned x = reciprocal(element(j));
        // The inverse has k/n + a i/n without z, and i/n with it: x and (x + k/n) / a, where k/n = (x + second x) / a.
        t.low.byte[j] = linear(x ^ product(z, product(b, x ^ product(b, x))));
        t.high.byte[j] = linear(product(z, product(b, product(b, x))));
    }
    return t;
}

/// What follows an inversion of bytes in this basis. Tables have no room for a constant: sum.constant is missing in
/// every word that a round makes.
inline constexpr NibbleTables f = after(affine([](unsigned y) { return split(after_inverse.f(y)); }));
inline constexpr NibbleTables g = after(affine([](unsigned y) { return split(after_inverse.g(y)); }));
inline constexpr NibbleTables sum = after(affine([](unsigned y) { return split(after_inverse.sum(y)); }));
inline constexpr NibbleTables sbox = after(sbox_after_inverse);

/// Makes up for it in the keys of rounds r..r+3, for r / 4 even or odd: a round adds three words to its key, and word n
/// lacks n / 4 constants. The last words lack eight, which is none.
constexpr Table missing(unsigned odd) {
    Table t{};
    for (unsigned j = 0; j < 16; ++j)
        t.byte[j] = (j / 4 + odd) % 2 != 0 ? split(after_inverse.sum.constant) : std::uint8_t{0};
    return t;
}
inline constexpr Table missing_constants[2] = {missing(0), missing(1)};

}  // namespace nibbles

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
