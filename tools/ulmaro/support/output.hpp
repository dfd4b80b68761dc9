// Writing a file that is either whole or not there.
#pragma once

#include <sys/types.h>

#include <span>
#include <string>

#include "support/fd.hpp"

namespace ulmaro::tool {

/// Who may read a file that is made new.
enum class Access { everyone, owner };

/// An output that appears under its name only by commit(). Until then the bytes are in a temporary file of the same
/// folder, and an existing file of that name is as it was; a failure, a full disk or a signal removes the temporary
/// file; SIGKILL and a power failure leave it beside the old one, as .ulmaro-XXXXXX. Standard output ("-"), pipes and
/// devices are written directly: they have no earlier state to keep.
class Output {
public:
    /// Throws Failure. With Access::owner the finished file has mode 0600 whatever was there before; otherwise it
    /// keeps the mode of the file that it replaces, or gets the usual one.
    explicit Output(const std::string& path, Access access = Access::everyone);
    /// Writes to an open descriptor directly; name is what messages call it.
    Output(Fd fd, std::string name);
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output();

    void write(std::span<const unsigned char> bytes);

    /// Puts the finished file in its place. Throws Failure.
    void commit();

private:
    void open_temporary(const std::string& path, Access access);

    std::string name_;
    std::string target_;     ///< where commit() renames to; empty when written directly
    std::string temporary_;  ///< what exists until then
    mode_t mode_ = 0;
    Fd owned_;
    int fd_;
};

/// A whole output at once.
void write_whole(const std::string& path, std::span<const unsigned char> bytes, Access access = Access::everyone);

/// Makes interrupting signals remove the temporary files before they end the process, and a file size limit a
/// failure of the write. Called once, before any Output.
void guard_temporary_files();

}  // namespace ulmaro::tool
