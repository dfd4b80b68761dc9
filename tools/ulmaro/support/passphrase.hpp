// Passphrases of private keys.
#pragma once

#include <optional>
#include <string>

#include "support/secret.hpp"

namespace ulmaro::tool {

/// The first line of file, without its end; without a file it is asked for on the terminal, twice if so wanted. Throws
/// Failure when it is empty, or when there is neither file nor terminal.
SecretBuffer read_passphrase(const std::optional<std::string>& file, const std::string& prompt, bool twice);

}  // namespace ulmaro::tool
