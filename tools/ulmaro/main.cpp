// ulmaro: hashing, encryption and signatures from the command line.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>
#include <new>
#include <string>
#include <vector>

#include "UlmaroAlgrithm.h"
#include "commands/commands.hpp"
#include "support/error.hpp"
#include "support/output.hpp"

namespace {

using namespace ulmaro::tool;

int usage_error(const char* message) {
    std::fprintf(stderr, "ulmaro: %s\nTry 'ulmaro --help' or 'ulmaro COMMAND --help'.\n", message);
    return kExitUsage;
}

/// The operands of sm3 may be any file names, but the parser takes one in brackets for a list and leaves the
/// subcommand at "--". All options of sm3 are flags, so its operands can be told apart and taken out before.
std::vector<std::string> take_operands(std::vector<std::string>& args) {
    std::vector<std::string> operands;
    if (args.empty() || args.front() != "sm3") return operands;
    const auto is_option = [](const std::string& arg) { return arg.size() > 1 && arg.front() == '-'; };
    const auto mark = std::find(args.begin() + 1, args.end(), "--");
    const auto names = std::stable_partition(args.begin() + 1, mark, is_option);
    std::copy(names, mark, std::back_inserter(operands));
    if (mark != args.end()) std::copy(mark + 1, args.end(), std::back_inserter(operands));
    args.erase(names, args.end());
    return operands;
}

int run(int argc, char** argv) {
    std::vector<std::string> args(argv + 1, argv + argc);
    const std::vector<std::string> operands = take_operands(args);
    std::reverse(args.begin(), args.end());  // as the parser wants a vector

    CLI::App app("SM2, SM3 and SM4 on the command line.", "ulmaro");
    app.set_version_flag("--version", "ulmaro " ULMARO_ALGRITHM_VERSION);
    app.require_subcommand(1);
    app.footer("Exit codes: 0 success, 1 failure, 2 wrong usage. '-' stands for standard input or output.");

    int status = kExitOk;
    add_sm3(app, operands, status);
    add_sm4(app);
    add_keygen(app);
    add_pubkey(app);
    add_sign(app);
    add_verify(app, status);
    add_encrypt(app);
    add_decrypt(app);
    add_digest(app);
    add_convert(app);
    add_info(app);
    add_bench(app);
    add_demo(app);

    try {
        app.parse(args);
    } catch (const CLI::Success& request) {  // help or version
        return app.exit(request);
    } catch (const CLI::ParseError& error) {
        return usage_error(error.what());
    } catch (const UsageError& error) {
        return usage_error(error.what());
    }
    return status;
}

/// A full disk shows itself to printf() only when the buffer is written.
int close_stdout(int status) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
    std::fprintf(stderr, "ulmaro: standard output: %s\n", std::strerror(errno));
    return kExitFailure;
}

}  // namespace

int main(int argc, char** argv) {
    guard_temporary_files();
    int status = kExitFailure;
    try {
        status = run(argc, argv);
    } catch (const std::bad_alloc&) {
        std::fputs("ulmaro: out of memory\n", stderr);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "ulmaro: %s\n", error.what());
    }
    return close_stdout(status);
}
