// A line that must not be seen, from the terminal.
#pragma once

#include <string>

#include "support/secret.hpp"

namespace ulmaro::tool {

/// Asks on the terminal, without echo, for a line of at most limit bytes; its end is taken off. A signal that ends or
/// stops the process finds the terminal as it was before; when the process goes on it asks again. Throws Failure.
SecretBuffer ask_terminal(const std::string& prompt, std::size_t limit);

}  // namespace ulmaro::tool
