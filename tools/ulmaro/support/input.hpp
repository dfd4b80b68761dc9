// Reading a file or standard input.
#pragma once

#include <sys/stat.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "support/fd.hpp"
#include "support/secret.hpp"

namespace ulmaro::tool {

class Input {
public:
    /// Opens path; "-" is standard input. Throws Failure.
    explicit Input(const std::string& path);
    /// Reads from an open descriptor, from its start; messages call it name.
    Input(Fd fd, std::string name);

    /// Fills as much of buffer as there is input: fewer bytes than asked for mean the end. Throws Failure.
    std::size_t read(std::span<unsigned char> buffer);

    /// Everything that is left; throws Failure when it is more than limit bytes.
    SecretBuffer read_all(std::size_t limit);

    /// The result of fstat(); false when that fails.
    bool status(struct stat& st) const { return ::fstat(fd_, &st) == 0; }
    /// Bytes of a regular file, 0 for anything else.
    std::uint64_t size() const;

    const std::string& name() const { return name_; }

private:
    std::string name_;
    Fd owned_;
    int fd_;
};

}  // namespace ulmaro::tool
