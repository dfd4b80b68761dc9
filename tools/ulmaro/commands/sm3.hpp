// What the two halves of the sm3 command share.
#pragma once

#include <string>

#include "support/digest_queue.hpp"

namespace ulmaro::tool {

struct Sm3CheckOptions {
    bool ignore_missing = false;
    bool quiet = false;
    bool status_only = false;
    bool strict = false;
    bool warn = false;
    bool json = false;  ///< of printing digests too
};

enum class Sm3Verdict {
    good,      ///< everything that was to be checked is right
    mismatch,  ///< at least one digest is wrong
    unknown,   ///< none is wrong, but something could not be checked
};

/// Verifies the list of digests in the file list_path.
Sm3Verdict check_digests(const std::string& list_path, const Sm3CheckOptions& options, DigestQueue& queue);

}  // namespace ulmaro::tool
