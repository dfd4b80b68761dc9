// What the schemes need of the recommended curve, on byte strings.
//
// Every byte string is 32 bytes, big-endian. Outputs may be the same memory as inputs. Nothing allocates, fails or
// prints. Unless marked variable-time, a function takes the same time for all values, its result included; a caller
// makes that result public by branching on it.
#pragma once

#include <cstdint>
#include <span>

namespace ulmaro::sm2p256 {

using In = std::span<const std::uint8_t, 32>;
using Out = std::span<std::uint8_t, 32>;

/// Whether x and y, reduced modulo p, satisfy the curve's equation. The functions below accept unreduced coordinates
/// too.
bool is_on_curve(In x, In y) noexcept;

/// (rx, ry) = [k]G for any k; false and zeros for infinity.
bool multiply_base(Out rx, Out ry, In k) noexcept;

/// (rx, ry) = [k](px, py) for any k and a point for which is_on_curve holds; false and zeros for infinity.
bool multiply_point(Out rx, Out ry, In px, In py, In k) noexcept;

/// (bx, by) = [k]G and (rx, ry) = [k](px, py), as above, in less time than apart.
bool multiply_base_and_point(Out bx, Out by, Out rx, Out ry, In px, In py, In k) noexcept;

/// Whether d can sign: 0 < d < n - 1.
bool is_signing_key(In d) noexcept;

/// Signs the digest e with a signing key d and an ephemeral scalar k in [1, n - 1], steps A4 to A6 of GB/T 32918.2:
/// r = (e + x1) mod n with (x1, y1) = [k]G, s = (1 + d)^-1 (k - r d) mod n. False, with zeros, if this k is
/// unusable: r = 0, r + k = n or s = 0.
bool sign(Out r, Out s, In e, In d, In k) noexcept;

enum class Comparison {
    equal,    // the signature is valid
    less,     // r < R
    greater,  // r > R
    none,     // no R: r = 0, s = 0, r + s = 0 modulo n, or the sum is infinity
};

/// How r compares with R = (e + x) mod n, x of [s]G + [r + s](px, py), steps B5 to B7 of GB/T 32918.2, for r and s
/// below n and a point for which is_on_curve holds. Variable time.
Comparison verify_vartime(In e, In r, In s, In px, In py) noexcept;

}  // namespace ulmaro::sm2p256
