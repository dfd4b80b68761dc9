// The SM3 digest of a stream of any length.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "UlmaroAlgrithm.h"
#include "support/input.hpp"

namespace ulmaro::tool {

using Digest = std::array<unsigned char, 32>;

class Sm3 {
public:
    Sm3() { SM3_Init(&context_); }
    void update(std::span<const unsigned char> bytes);
    Digest finish();

private:
    SM3_CTX context_{};
    std::uint64_t length_ = 0;
};

/// Absorbs what is left of input, in constant memory.
void absorb(Sm3& hash, Input& input, bool show_progress);

Digest digest_of(Input& input, bool show_progress);

}  // namespace ulmaro::tool
