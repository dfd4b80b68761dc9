#include "support/rights.hpp"

#include <sys/xattr.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "support/error.hpp"

namespace ulmaro::tool {
namespace {

constexpr const char* access_list = "system.posix_acl_access";
constexpr std::size_t largest_attribute = 64U << 10;  // the kernel's limit

struct stat status_of(int fd, const std::string& name) {
    struct stat st {};
    if (::fstat(fd, &st) != 0) throw system_failure(name);
    return st;
}

/// Whether file has the access list of the old file, which may have none.
bool copy_access_list(int folder, const std::string& base, int file) {
    // Through the descriptor: the path may name another file by now. Old files need not be readable for this.
    const std::string path = "/proc/self/fd/" + std::to_string(folder) + "/" + base;
    std::vector<char> list(largest_attribute);
    const ssize_t n = ::lgetxattr(path.c_str(), access_list, list.data(), list.size());
    if (n >= 0) return ::fsetxattr(file, access_list, list.data(), static_cast<std::size_t>(n), 0) == 0;
    if (errno != ENODATA && errno != ENOTSUP) return false;
    // The folder may have given the new file a default list.
    return ::fremovexattr(file, access_list) == 0 || errno == ENODATA || errno == ENOTSUP;
}

}  // namespace

bool lies_ready(const struct stat& folder, const struct stat& old) {
    return (folder.st_mode & S_ISVTX) != 0 && (folder.st_mode & (S_IWGRP | S_IWOTH)) != 0 &&
           old.st_uid != ::geteuid() && old.st_uid != folder.st_uid;
}

void take_owner(int folder, int file, const struct stat& old, const std::string& name) {
    if (lies_ready(status_of(folder, name), old)) {
        throw Failure(name + ": another user's file in a shared folder");
    }
    const struct stat now = status_of(file, name);
    if (now.st_uid == old.st_uid && now.st_gid == old.st_gid) return;
    if (::fchown(file, old.st_uid, old.st_gid) == 0) return;
    if (now.st_uid != old.st_uid) throw Failure(name + ": belongs to another user and could not be given back to them");
    // The owner is kept, but the caller is not in the group: the bits are narrowed later.
}

void take_mode(int folder, const std::string& base, int file, const struct stat& old, const std::string& name) {
    mode_t mode = old.st_mode & (S_IRWXU | S_IRWXG | S_IRWXO);
    if (!copy_access_list(folder, base, file)) {
        mode &= S_IRWXU;
    } else if (status_of(file, name).st_gid != old.st_gid) {
        // The old group now counts as others, and some others as the group: each gets only what both had. With an
        // access list the mode does not tell what the group had.
        const bool listed = ::fgetxattr(file, access_list, nullptr, 0) > 0;
        const mode_t both = listed ? 0 : (mode >> 3) & mode & S_IRWXO;
        mode = (mode & S_IRWXU) | both << 3 | both;
    }
    if (::fchmod(file, mode) != 0) throw system_failure(name);
}

}  // namespace ulmaro::tool
