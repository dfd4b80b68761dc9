// Points of y^2 = x^3 + a x + b modulo a prime, in affine form on GMP integers: slow, obvious and independent of the
// library.
#pragma once

#include "support/integers.hpp"

namespace ulmaro::test {

struct Point {
    Integer x, y;
    bool infinite = false;

    friend bool operator==(const Point& A, const Point& B) {
        return A.infinite == B.infinite && A.x == B.x && A.y == B.y;
    }
};

inline const Point infinity = {0, 0, true};

struct Points {
    Integer p, a;

    Point negative(const Point& A) const { return {A.x, mod(-A.y, p), A.infinite}; }

    Point sum(const Point& A, const Point& B) const {
        if (A.infinite) return B;
        if (B.infinite) return A;
        const bool doubles = A.x == B.x;
        if (doubles && (A.y != B.y || A.y == 0)) return infinity;
        const Integer slope = doubles ? Integer((3 * A.x * A.x + a) * inverse(2 * A.y, p))
                                      : Integer((B.y - A.y) * inverse(mod(B.x - A.x, p), p));
        const Integer x = mod(slope * slope - A.x - B.x, p);
        return {x, mod(slope * (A.x - x) - A.y, p)};
    }

    /// [k]A for any non-negative k.
    Point multiple(const Integer& k, const Point& A) const {
        Point r = infinity;
        for (std::size_t i = mpz_sizeinbase(k.get_mpz_t(), 2); i-- > 0;) {
            r = sum(r, r);
            if (mpz_tstbit(k.get_mpz_t(), i) != 0) r = sum(r, A);
        }
        return r;
    }
};

inline Bytes joined(std::initializer_list<std::span<const unsigned char>> parts) {
    Bytes all;
    for (const auto part : parts) all.insert(all.end(), part.begin(), part.end());
    return all;
}

/// x || y; zeros for infinity.
inline Bytes xy_of(const Point& A) { return joined({be32(A.x), be32(A.y)}); }

inline Point point_of(std::span<const unsigned char> xy) { return {from_be(xy.first(32)), from_be(xy.last(32))}; }

}  // namespace ulmaro::test
