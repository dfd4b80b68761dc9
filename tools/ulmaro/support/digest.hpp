// The SM3 digest of a stream of any length.
#pragma once

#include <atomic>

#include "UlmaroAlgrithm.hpp"
#include "support/input.hpp"

namespace ulmaro::tool {

using algrithm::Digest;
using algrithm::Sm3;

/// Absorbs the rest of input, in constant memory.
void absorb(Sm3& hash, Input& input, bool show_progress, const std::atomic<bool>* turn = nullptr);

/// turn: as for Progress.
Digest digest_of(Input& input, bool show_progress, const std::atomic<bool>* turn = nullptr);

}  // namespace ulmaro::tool
