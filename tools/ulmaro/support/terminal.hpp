// Reads a line from the terminal without showing it.
#pragma once

#include <string>

#include "support/secret.hpp"

namespace ulmaro::tool {

/// Asks on the terminal, without echo, for a line of at most limit bytes; the line end is removed. A signal that ends
/// or stops the process leaves the terminal as it was before; when the process continues it asks again. Throws Failure.
SecretBuffer ask_terminal(const std::string& prompt, std::size_t limit);

}  // namespace ulmaro::tool
