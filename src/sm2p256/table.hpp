// Multiples of the generator in read-only data, affine and in Montgomery form. gen/sm2p256_table.py makes them in the
// build from the curve's constants. 93 KiB together.
#pragma once

#include "sm2p256/point.hpp"

namespace ulmaro::sm2p256 {

/// comb[i][j] = (2j + 1) 64^i G for i < 42.
inline constexpr int comb_windows = 42;
alignas(64) extern const Affine comb[comb_windows][32];

/// comb_top[j] = (2j + 1) 64^42 G for j < 8.
alignas(64) extern const Affine comb_top[8];

/// 30 * 64^42 G.
alignas(64) extern const Affine comb_top_doubled;

/// generator_odd[j] = (2j + 1) G: what digits of generator_width bits can select.
inline constexpr int generator_width = 9;
alignas(64) extern const Affine generator_odd[1 << (generator_width - 2)];

}  // namespace ulmaro::sm2p256
