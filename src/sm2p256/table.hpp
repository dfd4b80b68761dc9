// Multiples of the generator in read-only data, affine and in Montgomery form; 91 KiB in all. gen/sm2p256_table.py
// computes them from the curve's constants during the build.
#pragma once

#include "sm2p256/point.hpp"

namespace ulmaro::sm2p256 {

/// generator_odd[j / 32][j % 32] = (2j + 1) G: everything a digit of generator_width bits can select.
inline constexpr int generator_width = 9;
alignas(64) extern const Affine generator_odd[4][32];

/// comb_above[i - 1][j] = (2j + 1) 64^i G for 0 < i < 42.
inline constexpr int comb_windows = 42;
alignas(64) extern const Affine comb_above[comb_windows - 1][32];

/// (2j + 1) 64^i G for i < 42.
inline const Affine (&comb(int i) noexcept)[32] { return i == 0 ? generator_odd[0] : comb_above[i - 1]; }

/// comb_top[j] = (2j + 1) 64^42 G for j < 8.
alignas(64) extern const Affine comb_top[8];

/// 30 * 64^42 G.
alignas(64) extern const Affine comb_top_doubled;

}  // namespace ulmaro::sm2p256
