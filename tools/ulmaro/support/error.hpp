// The two ways in which a command ends early. main() turns each into one line on standard error.
#pragma once

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <string>

namespace ulmaro::tool {

constexpr int exit_ok = 0;
constexpr int exit_failure = 1;
constexpr int exit_usage = 2;

/// How the run ends. A command with a verdict uses 1 for "no" and 2 for failure, as grep and cmp do.
struct ExitCodes {
    int status = exit_ok;
    int failure = exit_failure;
};
constexpr int exit_no = 1;
constexpr int exit_trouble = 2;

/// The work could not be done, for a reason in the data or in the system: exit code ExitCodes::failure.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// The command line asks for something that makes no sense: exit code 2.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// A Failure in the form "NAME: reason", the reason from errno.
inline Failure system_failure(const std::string& name) { return Failure(name + ": " + std::strerror(errno)); }

}  // namespace ulmaro::tool
