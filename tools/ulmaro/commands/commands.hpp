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
void add_sm4(CLI::App& app);
void add_keygen(CLI::App& app);
void add_pubkey(CLI::App& app);
void add_sign(CLI::App& app);
void add_verify(CLI::App& app, int& status);
void add_encrypt(CLI::App& app);
void add_decrypt(CLI::App& app);
void add_digest(CLI::App& app);
void add_convert(CLI::App& app);
void add_info(CLI::App& app);
void add_demo(CLI::App& app);
void add_bench(CLI::App& app);

}  // namespace ulmaro::tool
