// ulmaro: hashing, encryption and signatures from the command line.
#include <fcntl.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <functional>
#include <new>
#include <string>
#include <utility>
#include <vector>

#include "UlmaroAlgrithm.h"
#include "cli/suggest.hpp"
#include "commands/commands.hpp"
#include "support/error.hpp"
#include "support/output.hpp"
#include "support/text.hpp"

namespace {

using namespace ulmaro::tool;

int usage_error(const std::string& message) {
    complain(message);
    std::fputs("Try 'ulmaro --help' or 'ulmaro COMMAND --help'.\n", stderr);
    return exit_usage;
}

/// The first empty argument that is an error: only an identity may be empty. An empty argument names no file, and the
/// parser skips it; after --option= it would take the next argument instead.
std::vector<std::string>::const_iterator find_empty(const std::vector<std::string>& args) {
    for (auto at = args.begin(); at != args.end(); ++at) {
        if (*at == "--") return std::find(at, args.end(), "");
        if (at->empty() && (at == args.begin() || at[-1] != "--id")) return at;
        if (at->starts_with("--") && at->find('=') == at->size() - 1) return at;
    }
    return args.end();
}

/// A file that the tool opens must not become descriptor 0, 1 or 2, where messages and results go. Reads and writes on
/// a descriptor that was closed still fail, also by the names in /dev.
void occupy_standard_descriptors() {
    for (int fd = 0; fd <= 2; ++fd) {
        if (::fcntl(fd, F_GETFD) < 0) ::open("/", O_PATH);
    }
}

/// The operands of sm3 may be any file names, but the parser takes a name in brackets for a list and leaves the
/// subcommand at "--". Of the options of sm3 only --jobs takes a value, so its operands can be recognised and removed
/// beforehand.
std::vector<std::string> take_operands(std::vector<std::string>& args) {
    std::vector<std::string> operands;
    if (args.empty() || args.front() != "sm3") return operands;
    std::vector<std::string> rest{args.front()};
    auto at = args.begin() + 1;
    for (; at != args.end() && *at != "--"; ++at) {
        const bool is_value = rest.back() == "--jobs";
        const bool is_option = at->size() > 1 && at->front() == '-';
        (is_value || is_option ? rest : operands).push_back(*at);
    }
    if (at != args.end()) operands.insert(operands.end(), at + 1, args.end());
    args = std::move(rest);
    return operands;
}

/// Adds the commands that the arguments name. Describing them all takes a tenth of a short run, and only the list of
/// commands needs it, which is for arguments that begin with none of them.
void add_commands(CLI::App& app, const std::vector<std::string>& args, const std::vector<std::string>& operands,
                  ExitCodes& exit) {
    struct Command {
        const char* name;
        std::function<void()> add;
    };
    const Command commands[] = {
        {"sm3", [&] { add_sm3(app, operands, exit); }},
        {"sm4", [&] { add_sm4(app); }},
        {"keygen", [&] { add_keygen(app); }},
        {"pubkey", [&] { add_pubkey(app); }},
        {"sign", [&] { add_sign(app); }},
        {"verify", [&] { add_verify(app, exit); }},
        {"encrypt", [&] { add_encrypt(app); }},
        {"decrypt", [&] { add_decrypt(app); }},
        {"seal", [&] { add_seal(app); }},
        {"open", [&] { add_open(app); }},
        {"digest", [&] { add_digest(app); }},
        {"convert", [&] { add_convert(app); }},
        {"info", [&] { add_info(app); }},
        {"bench", [&] { add_bench(app); }},
        {"demo", [&] { add_demo(app); }},
    };
    const auto named = [&](const Command& command) { return std::ranges::count(args, command.name) != 0; };
    const bool begins_with_one =
        !args.empty() && std::ranges::count(commands, args.front(), [](const Command& c) { return c.name; }) != 0;
    for (const Command& command : commands) {
        if (!begins_with_one || named(command)) command.add();
    }
}

int run(int argc, char** argv, ExitCodes& exit) {
    std::vector<std::string> args(argv + std::min(argc, 1), argv + argc);
    if (const auto empty = find_empty(args); empty != args.end()) {
        // Do not print the argument before it unless it is an option: it may be a key.
        const auto before = empty->empty() && empty != args.begin() ? empty - 1 : empty;
        complain(before->starts_with('-') ? *before + ": an empty argument" : "an empty argument");
        return exit_usage;
    }
    const std::vector<std::string> operands = take_operands(args);

    CLI::App app("SM2, SM3 and SM4 on the command line.", "ulmaro");
    app.set_version_flag("--version", "ulmaro " ULMARO_ALGRITHM_VERSION);
    app.require_subcommand(1);
    app.footer(
        "Exit codes: 0 success, 1 failure, 2 wrong usage. 'verify' and 'sm3 --check': 0 yes, 1 no, 2 not checked.\n"
        "'-' stands for standard input or output. A file that -o replaces keeps its owner and permissions, but not\n"
        "its set-user-ID and set-group-ID bits.");

    add_commands(app, args, operands, exit);
    try {
        std::vector<std::string> reversed(args.rbegin(), args.rend());  // as the parser wants a vector
        app.parse(reversed);
    } catch (const CLI::Success& request) {  // help or version
        return app.exit(request);            // 0
    } catch (const CLI::ExtrasError&) {
        return usage_error(cli::unexpected(app) + cli::suggestion(app, args));
    } catch (const CLI::ParseError& error) {
        return usage_error(error.what() + cli::suggestion(app, args));
    } catch (const UsageError& error) {
        return usage_error(error.what());
    }
    return exit.status;
}

/// printf() notices a full disk only when the buffer is written.
int close_stdout(int status, const ExitCodes& exit) {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return status;
    std::fprintf(stderr, "ulmaro: standard output: %s\n", std::strerror(errno));
    return exit.failure;
}

}  // namespace

int main(int argc, char** argv) {
    occupy_standard_descriptors();
    guard_temporary_files();
    ExitCodes exit;
    int status;
    try {
        status = run(argc, argv, exit);
    } catch (const std::bad_alloc&) {
        std::fputs("ulmaro: out of memory\n", stderr);
        status = exit.failure;
    } catch (const std::exception& error) {
        complain(error.what());
        status = exit.failure;
    }
    return close_stdout(status, exit);
}
