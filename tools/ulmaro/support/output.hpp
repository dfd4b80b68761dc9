// Writing a file that is either whole or not there.
#pragma once

#include <sys/types.h>

#include <span>
#include <string>

#include "support/fd.hpp"
#include "support/input.hpp"
#include "support/place.hpp"

namespace ulmaro::tool {

/// The mode of a finished file.
enum class Access {
    usual,   ///< that of the file which it replaces, or what new files get
    secret,  ///< that of the file which it replaces; 0600 when it is new
    key,     ///< 0600 whatever was there before
};

enum class Existing {
    replaced,
    refused,  ///< unless it is empty, as from mktemp
};

/// An output that appears under its name only by commit(). Until then the bytes are in a temporary file of the same
/// folder, and an existing file of that name is as it was; a failure, a full disk or a signal removes the temporary
/// file; SIGKILL and a power failure leave it beside the old one, as .ulmaro-XXXXXX. After commit() the new file is on
/// the disk as well, as far as the file system can promise that. Owner, group and access list are those of the file
/// that is replaced (rights.hpp); its other attributes are not copied, and a second hard link keeps the old content.
/// Standard output ("-"), pipes, devices and descriptors given by name are written directly.
class Output {
public:
    /// Throws Failure.
    explicit Output(const std::string& path, Access access = Access::usual, Existing existing = Existing::replaced);
    /// Writes to an open descriptor directly; messages call it name.
    Output(Fd fd, std::string name);
    Output(const Output&) = delete;
    Output& operator=(const Output&) = delete;
    ~Output();

    void write(std::span<const unsigned char> bytes);

    /// Puts the finished file in its place. Throws Failure.
    void commit();

    /// Whether both would end up under one name, or in one stream.
    bool meets(const Output& other) const;
    /// Whether what is written here could be read there.
    bool feeds(const Input& input) const;

private:
    void open_temporary();
    void give_rights();
    void rename();
    void discard();

    std::string name_;
    Access access_ = Access::usual;
    Existing existing_ = Existing::replaced;
    Place place_;
    std::string temporary_;  ///< what exists in place_.folder until commit(); empty when written directly
    Fd owned_;
    int fd_;
};

/// A whole output at once.
void write_whole(const std::string& path, std::span<const unsigned char> bytes, Access access = Access::usual,
                 Existing existing = Existing::replaced);

/// Makes ending signals remove the temporary files first, and a file size limit a failure of the write. Called once,
/// before any Output.
void guard_temporary_files();

}  // namespace ulmaro::tool
