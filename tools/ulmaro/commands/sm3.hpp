// What the two halves of the sm3 command share.
#pragma once

#include <string>

namespace ulmaro::tool {

struct Sm3CheckOptions {
    bool ignore_missing = false;
    bool quiet = false;
    bool status_only = false;
    bool strict = false;
    bool warn = false;
};

/// Verifies the list of digests in the file list_path. True when all that was asked for holds.
bool check_digests(const std::string& list_path, const Sm3CheckOptions& options);

/// One line on standard error, in order with what went to standard output before.
void complain(const std::string& message);

}  // namespace ulmaro::tool
