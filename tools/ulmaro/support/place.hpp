// What the name of an output refers to.
#pragma once

#include <sys/stat.h>

#include <optional>
#include <string>

#include "support/fd.hpp"

namespace ulmaro::tool {

/// Either a descriptor that is written directly, because it has no earlier state to keep: a pipe, a device, or a
/// descriptor that the process was given, by any of its names in /dev or /proc. Or a file in a folder, with every link
/// to it followed, so that a link stays a link; old describes the existing file.
struct Place {
    Fd direct;
    Fd folder;  ///< for the calls that end in "at" only
    std::string base;
    std::optional<struct stat> old;
};

/// Throws Failure when it names nothing that can be written.
Place find_place(const std::string& path);

}  // namespace ulmaro::tool
