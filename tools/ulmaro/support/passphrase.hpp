// Passphrases of private keys.
#pragma once

#include <optional>
#include <string>

#include "support/secret.hpp"

namespace ulmaro::tool {

/// The first line of file, without its '\n', as openssl reads it with "file:": a '\r' is part of it. Without a file it
/// is asked for on the terminal, twice on request. Throws Failure when it is empty, when openssl would use only part of
/// it (a NUL inside, or more than 1023 bytes), or when there is neither file nor terminal.
SecretBuffer read_passphrase(const std::optional<std::string>& file, const std::string& prompt, bool twice);

}  // namespace ulmaro::tool
