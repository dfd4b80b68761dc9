// Owner and permissions of a file that replaces another.
#pragma once

#include <sys/stat.h>

#include <string>

namespace ulmaro::tool {

/// Whether a file or FIFO is another user's in a folder like /tmp. The kernel refuses to open(O_CREAT) these where
/// fs.protected_regular and fs.protected_fifos are set; rename() and a plain open() do not check it.
bool lies_ready(const struct stat& folder, const struct stat& old);

/// Throws Failure when the caller must not replace the file: it is another user's and its owner could not be kept, or
/// it already exists in a folder like /tmp. file: a new file in the same folder, whose owner becomes the old one's.
void take_owner(int folder, int file, const struct stat& old, const std::string& name);

/// Gives file the access list of the old one, named base in folder, and its permission bits, except any that would give
/// someone more access than before. Not the set-user-ID, set-group-ID and sticky bits, and no capabilities: they vouch
/// for the content, and the content is new. Throws Failure.
void take_mode(int folder, const std::string& base, int file, const struct stat& old, const std::string& name);

}  // namespace ulmaro::tool
