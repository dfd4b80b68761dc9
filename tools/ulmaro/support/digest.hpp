// The SM3 digest of a stream of any length.
#pragma once

#include "UlmaroAlgrithm.hpp"
#include "support/input.hpp"

namespace ulmaro::tool {

using algrithm::Digest;
using algrithm::Sm3;

/// Absorbs the rest of input, in constant memory.
void absorb(Sm3& hash, Input& input, bool show_progress);

Digest digest_of(Input& input, bool show_progress);

}  // namespace ulmaro::tool
