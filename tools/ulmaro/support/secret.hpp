// Storage for keys and plaintext that is wiped when it leaves scope.
#pragma once

#include "UlmaroAlgrithmFormats.hpp"

namespace ulmaro::tool {

using SecretBuffer = algrithm::SecretBytes;

}  // namespace ulmaro::tool
