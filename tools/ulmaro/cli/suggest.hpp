// What a mistyped word may have meant.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace ulmaro::tool::cli {

/// "; did you mean '--key'?" for the first argument that is no option or command but nearly one; empty when there is
/// none. top has been parsed as far as it went.
std::string suggestion(const CLI::App& top, const std::vector<std::string>& args);

/// What to say of arguments that nothing expects: of options only the names, of others nothing, for it may be a key.
std::string unexpected(const CLI::App& top);

}  // namespace ulmaro::tool::cli
