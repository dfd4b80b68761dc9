#include "support/place.hpp"

#include <fcntl.h>
#include <limits.h>
#include <stdlib.h>
#include <unistd.h>

#include <algorithm>
#include <string_view>

#include "support/error.hpp"
#include "support/rights.hpp"

namespace ulmaro::tool {
namespace {

constexpr int most_links = 40;  // as many as the kernel follows

struct Split {
    std::string folder;
    std::string base;
};

Split split(const std::string& path) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) return {".", path};
    return {path.substr(0, slash + 1), path.substr(slash + 1)};
}

[[noreturn]] void refuse(const std::string& path, int reason) {
    errno = reason;
    throw system_failure(path);
}

bool is_number(std::string_view text) {
    return !text.empty() && text.size() < 10 && std::ranges::all_of(text, [](char c) { return c >= '0' && c <= '9'; });
}

std::string resolved(const std::string& folder) {
    char real[PATH_MAX];
    return ::realpath(folder.c_str(), real) != nullptr ? real : "";
}

enum class Whose { nobody, ours, others };

/// The process whose descriptors are named in folder.
Whose descriptors_in(const std::string& folder) {
    const std::string real = resolved(folder);
    if (!real.starts_with("/proc/") || !real.ends_with("/fd")) return Whose::nobody;
    return real == resolved("/proc/self/fd") || real == resolved("/proc/thread-self/fd") ? Whose::ours : Whose::others;
}

/// A second descriptor of the same open file, which shares its offset and its append mode.
Fd duplicate(const std::string& path, const std::string& number) {
    const int fd = std::stoi(number);
    const int flags = ::fcntl(fd, F_GETFD);
    // Files that this program opened itself must not be written to; all of them are close-on-exec.
    if (flags < 0 || (flags & FD_CLOEXEC) != 0 || (::fcntl(fd, F_GETFL) & O_ACCMODE) == O_RDONLY) refuse(path, EBADF);
    Fd copy(::fcntl(fd, F_DUPFD_CLOEXEC, 3));
    if (!copy.valid()) throw system_failure(path);
    return copy;
}

/// The text of a link, or nothing when path is not one.
std::optional<std::string> link_text(const std::string& path) {
    char text[PATH_MAX];
    const ssize_t n = ::readlink(path.c_str(), text, sizeof text);
    if (n <= 0) return std::nullopt;
    return std::string(text, static_cast<std::size_t>(n));
}

Fd open_direct(const std::string& path) {
    Fd fd(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
    struct stat st {};
    if (!fd.valid() || ::fstat(fd.get(), &st) != 0) throw system_failure(path);
    if (S_ISREG(st.st_mode)) refuse(path, EAGAIN);  // it was none a moment ago
    return fd;
}

}  // namespace

Place find_place(const std::string& path) {
    Place place;
    std::string at = path;
    Split parts;
    for (int links = 0;; ++links) {
        if (links == most_links) refuse(path, ELOOP);
        parts = split(at);
        const Whose whose = is_number(parts.base) ? descriptors_in(parts.folder) : Whose::nobody;
        if (whose == Whose::ours) {
            place.direct = duplicate(path, parts.base);
            return place;
        }
        struct stat st {};
        if (whose == Whose::others && ::stat(at.c_str(), &st) == 0 && S_ISREG(st.st_mode)) {
            throw Failure(path + ": a file that another process has open; use the file's own name");
        }
        const std::optional<std::string> text = link_text(at);
        if (whose == Whose::others || !text) break;
        at = text->starts_with('/') ? *text : parts.folder + "/" + *text;
    }

    // Checked on the name as given, so that the kernel's rules for links in shared folders apply.
    struct stat st {};
    const bool exists = ::stat(path.c_str(), &st) == 0;
    if (!exists && errno != ENOENT) throw system_failure(path);
    if (exists && !S_ISREG(st.st_mode)) {
        struct stat folder {};
        if (S_ISFIFO(st.st_mode) && ::stat(parts.folder.c_str(), &folder) == 0 && lies_ready(folder, st)) {
            throw Failure(path + ": another user's FIFO in a shared folder");
        }
        place.direct = open_direct(path);
        return place;
    }
    if (parts.base.empty()) refuse(path, path.empty() ? ENOENT : EISDIR);
    place.folder = Fd(::open(parts.folder.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC));
    if (!place.folder.valid()) throw system_failure(path);
    place.base = parts.base;
    struct stat found {};
    const bool still = ::fstatat(place.folder.get(), place.base.c_str(), &found, AT_SYMLINK_NOFOLLOW) == 0;
    if (still != exists || (exists && (found.st_dev != st.st_dev || found.st_ino != st.st_ino))) refuse(path, EAGAIN);
    if (exists) place.old = found;
    return place;
}

}  // namespace ulmaro::tool
