#include "support/output.hpp"

#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/stat.h>

#include <array>
#include <atomic>
#include <cstring>

#include "support/error.hpp"
#include "support/rights.hpp"
#include "support/signals.hpp"

namespace ulmaro::tool {
namespace {

constexpr char name_template[] = ".ulmaro-XXXXXX";
constexpr std::size_t random_at = 8;

/// A temporary file that a signal must remove. `used` is set last, because the handler may run between any two
/// instructions.
struct Pending {
    std::atomic<bool> used{false};
    int folder = -1;
    char name[sizeof name_template] = {};
};
static_assert(std::atomic<bool>::is_always_lock_free, "read in a signal handler");

constinit std::array<Pending, 2> g_pending{};  // a command writes two files at most

void remove_pending(int number) {
    for (Pending& p : g_pending) {
        if (p.used.load()) ::unlinkat(p.folder, p.name, 0);
    }
    ::signal(number, SIG_DFL);
    ::raise(number);
}

void remember(int folder, const std::string& name) {
    for (Pending& p : g_pending) {
        if (p.used.load()) continue;
        p.folder = folder;
        std::memcpy(p.name, name.c_str(), sizeof p.name);
        p.used.store(true);
        return;
    }
    throw Failure("more than two outputs");
}

void forget(const std::string& name) {
    for (Pending& p : g_pending) {
        if (p.used.load() && name == p.name) p.used.store(false);
    }
}

std::string temporary_name() {
    constexpr char letters[] = "abcdefghijklmnopqrstuvwxyz012345";
    std::array<unsigned char, sizeof name_template - 1 - random_at> random;
    algrithm::random_bytes(random);
    std::string name = name_template;
    for (std::size_t i = 0; i < random.size(); ++i) name[random_at + i] = letters[random[i] % 32];
    return name;
}

/// Flushes to disk. An object that does not support that is left as it is.
void synchronise(int fd, const std::string& name) {
    if (::fsync(fd) == 0 || errno == EINVAL || errno == ENOTSUP || errno == ENOSYS || errno == EROFS) return;
    throw system_failure(name);
}

bool same_file(const struct stat& a, const struct stat& b) { return a.st_dev == b.st_dev && a.st_ino == b.st_ino; }

}  // namespace

void guard_temporary_files() {
    struct sigaction action {};
    action.sa_handler = remove_pending;
    action.sa_mask = ending_signals();
    for (const int number : ending) {
        struct sigaction old {};
        sigaction(number, nullptr, &old);
        if (old.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
    }
    ::signal(SIGXFSZ, SIG_IGN);
}

Output::Output(const std::string& path, Access access, Existing existing)
    : name_(path), access_(access), existing_(existing), fd_(STDOUT_FILENO) {
    if (path == "-") {
        name_ = "standard output";
        return;
    }
    place_ = find_place(path);
    if (place_.direct.valid()) {
        owned_ = std::move(place_.direct);
        fd_ = owned_.get();
        return;
    }
    if (place_.old && place_.old->st_size != 0 && existing == Existing::refused) {
        throw Failure(path + ": already exists; --force replaces it");
    }
    open_temporary();
}

Output::Output(Fd fd, std::string name) : name_(std::move(name)), owned_(std::move(fd)), fd_(owned_.get()) {}

void Output::open_temporary() {
    const int folder = place_.folder.get();
    // Where nothing is to be kept, the kernel applies the umask or the folder's default list.
    const mode_t mode = access_ == Access::usual && !place_.old ? 0666 : 0600;
    {
        const SignalHold hold;
        do {
            temporary_ = temporary_name();
            owned_ =
                Fd(::openat(folder, temporary_.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, mode));
        } while (!owned_.valid() && errno == EEXIST);
        if (!owned_.valid()) {
            temporary_.clear();
            throw system_failure(name_);
        }
        remember(folder, temporary_);
    }
    fd_ = owned_.get();
    try {
        if (place_.old) take_owner(folder, fd_, *place_.old, name_);
    } catch (...) {
        discard();
        throw;
    }
}

void Output::discard() {
    if (temporary_.empty()) return;
    const SignalHold hold;
    ::unlinkat(place_.folder.get(), temporary_.c_str(), 0);
    forget(temporary_);
    temporary_.clear();
}

Output::~Output() { discard(); }

void Output::write(std::span<const unsigned char> bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(fd_, bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) throw system_failure(name_);
        bytes = bytes.subspan(static_cast<std::size_t>(n));
    }
}

void Output::give_rights() {
    if (access_ != Access::key && place_.old) {
        return take_mode(place_.folder.get(), place_.base, fd_, *place_.old, name_);
    }
    if (access_ != Access::usual && ::fchmod(fd_, 0600) != 0) throw system_failure(name_);
}

void Output::rename() {
    const int folder = place_.folder.get();
    const char* const base = place_.base.c_str();
    struct stat now {};
    // An empty file was accepted; another run may have filled it meanwhile.
    if (existing_ == Existing::refused && place_.old && ::fstatat(folder, base, &now, AT_SYMLINK_NOFOLLOW) == 0 &&
        (now.st_size != 0 || !same_file(now, *place_.old))) {
        throw Failure(name_ + ": was written by another process meanwhile");
    }
    const unsigned flags = existing_ == Existing::refused && !place_.old ? RENAME_NOREPLACE : 0;
    int result = ::renameat2(folder, temporary_.c_str(), folder, base, flags);
    // Not every file system knows the flag.
    if (result != 0 && errno == EINVAL && flags != 0) result = ::renameat(folder, temporary_.c_str(), folder, base);
    if (result != 0) throw system_failure(name_);
}

void Output::commit() {
    if (!temporary_.empty()) {
        give_rights();
        synchronise(fd_, name_);
    }
    // Some file systems report a full disk only here.
    if (owned_.valid() && ::close(owned_.release()) != 0) throw system_failure(name_);
    if (temporary_.empty()) return;
    {
        const SignalHold hold;
        rename();
        forget(temporary_);
        temporary_.clear();
    }
    const Fd folder(::openat(place_.folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.valid()) synchronise(folder.get(), name_);  // a folder without read permission cannot be synchronised
}

bool Output::meets(const Output& other) const {
    struct stat a {};
    struct stat b {};
    if (temporary_.empty() != other.temporary_.empty()) {
        const Output& direct = temporary_.empty() ? *this : other;
        const Output& renamed = temporary_.empty() ? other : *this;
        return renamed.place_.old && ::fstat(direct.fd_, &a) == 0 && same_file(a, *renamed.place_.old);
    }
    if (temporary_.empty()) return ::fstat(fd_, &a) == 0 && ::fstat(other.fd_, &b) == 0 && same_file(a, b);
    return place_.base == other.place_.base && ::fstat(place_.folder.get(), &a) == 0 &&
           ::fstat(other.place_.folder.get(), &b) == 0 && same_file(a, b);
}

bool Output::feeds(const Input& input) const {
    struct stat a {};
    struct stat b {};
    return temporary_.empty() && ::fstat(fd_, &a) == 0 && S_ISREG(a.st_mode) && input.status(b) && same_file(a, b);
}

void write_whole(const std::string& path, std::span<const unsigned char> bytes, Access access, Existing existing) {
    Output output(path, access, existing);
    output.write(bytes);
    output.commit();
}

}  // namespace ulmaro::tool
