// Where secret scalars come from. random_libc.cpp and random_kernel.cpp both implement this header, and the build makes
// one library with each; all other objects of the two libraries are the same.
#pragma once

#include <cstdint>
#include <span>

namespace ulmaro {

/// Draws k < order from 32 fresh bytes; words are least significant first. The top word of order must not be zero.
/// k = 0 means that these bytes gave no scalar: the caller draws again, and decides how often.
void draw_scalar(std::span<std::uint32_t, 8> k, std::span<const std::uint32_t, 8> order) noexcept;

/// Tells the source that a curve group was prepared.
void note_group_prepared() noexcept;

}  // namespace ulmaro
