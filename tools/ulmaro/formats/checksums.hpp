// The lines of a list of digests, in the two forms of the coreutils.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "support/digest.hpp"

namespace ulmaro::tool {

struct Checksum {
    Digest digest;
    std::string name;
};

enum class ChecksumForm {
    text,    ///< DIGEST  NAME
    binary,  ///< DIGEST *NAME
    tagged,  ///< SM3 (NAME) = DIGEST
};

/// Parses one line without its end; nothing when it is malformed, or has no name.
std::optional<Checksum> read_checksum(std::string_view line);

/// The line without its end. A name that needs it is written escaped, with a backslash before the line.
std::string write_checksum(const Checksum& checksum, ChecksumForm form);
/// The same with the name as it is: for lines that end in NUL.
std::string write_checksum_plain(const Checksum& checksum, ChecksumForm form);

/// Whether name must be written escaped in a line-based list.
bool needs_escape(const std::string& name);

/// name with backslash, newline and carriage return as two characters each.
std::string escaped(const std::string& name);

}  // namespace ulmaro::tool
