// Unpredictable bytes for initialisation vectors and salts.
#pragma once

#include <span>

namespace ulmaro::tool {

/// Fills out from the kernel's generator; throws Failure when that is not available.
void fill_random(std::span<unsigned char> out);

}  // namespace ulmaro::tool
