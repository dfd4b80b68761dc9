// The subcommands. Each function adds one to the application; its work runs while the command line is parsed, throws
// Failure or UsageError, and sets exit when it ends with a verdict.
#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace ulmaro::tool {

struct ExitCodes;

/// operands: the file names, which main() has removed from the command line.
void add_sm3(CLI::App& app, const std::vector<std::string>& operands, ExitCodes& exit);
void add_sm4(CLI::App& app);
void add_keygen(CLI::App& app);
void add_pubkey(CLI::App& app);
void add_sign(CLI::App& app);
void add_verify(CLI::App& app, ExitCodes& exit);
void add_encrypt(CLI::App& app);
void add_decrypt(CLI::App& app);
void add_seal(CLI::App& app);
void add_open(CLI::App& app);
void add_digest(CLI::App& app);
void add_convert(CLI::App& app);
void add_info(CLI::App& app);
void add_demo(CLI::App& app);
void add_bench(CLI::App& app);

}  // namespace ulmaro::tool
