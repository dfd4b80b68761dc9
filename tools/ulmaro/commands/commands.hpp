// The subcommands. Each function adds one to the application; its work runs while the command line is parsed, throws
// Failure or UsageError, and sets status when it ends with a verdict other than success.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace ulmaro::tool {

/// operands: the file names, which main() has taken out of the command line.
void add_sm3(CLI::App& app, const std::vector<std::string>& operands, int& status);
void add_sm4(CLI::App& app, int& status);
void add_demo(CLI::App& app, int& status);

}  // namespace ulmaro::tool
