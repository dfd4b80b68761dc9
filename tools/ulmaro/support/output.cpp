#include "support/output.hpp"

#include <fcntl.h>
#include <limits.h>
#include <signal.h>
#include <stdlib.h>
#include <sys/stat.h>

#include <array>
#include <atomic>
#include <cstdio>
#include <cstring>

#include "support/error.hpp"

namespace ulmaro::tool {
namespace {

/// A temporary file that a signal must remove. The path is complete before `used` says so, because the handler may
/// run between any two instructions.
struct Pending {
    std::atomic<bool> used{false};
    char path[PATH_MAX] = {};
};
static_assert(std::atomic<bool>::is_always_lock_free, "read in a signal handler");

constexpr int kSignals[] = {SIGHUP, SIGINT, SIGQUIT, SIGPIPE, SIGTERM, SIGALRM, SIGXCPU};
constinit std::array<Pending, 2> g_pending{};  // a command writes two files at most

void remove_pending(int number) {
    for (Pending& p : g_pending) {
        if (p.used.load()) ::unlink(p.path);
    }
    ::signal(number, SIG_DFL);
    ::raise(number);
}

/// Holds the signals back while a temporary file and its registration change together.
class SignalHold {
public:
    SignalHold() {
        sigset_t set;
        sigemptyset(&set);
        for (const int number : kSignals) sigaddset(&set, number);
        sigprocmask(SIG_BLOCK, &set, &saved_);
    }
    ~SignalHold() { sigprocmask(SIG_SETMASK, &saved_, nullptr); }
    SignalHold(const SignalHold&) = delete;
    SignalHold& operator=(const SignalHold&) = delete;

private:
    sigset_t saved_{};
};

bool remember(const std::string& path) {
    for (Pending& p : g_pending) {
        if (p.used.load() || path.size() >= sizeof p.path) continue;
        std::memcpy(p.path, path.c_str(), path.size() + 1);
        p.used.store(true);
        return true;
    }
    return false;
}

void forget(const std::string& path) {
    for (Pending& p : g_pending) {
        if (p.used.load() && path == p.path) p.used.store(false);
    }
}

/// The file that path stands for, links followed: a link to the target stays a link.
std::string resolve(const std::string& path) {
    char real[PATH_MAX];
    return ::realpath(path.c_str(), real) != nullptr ? std::string(real) : path;
}

mode_t usual_mode() {
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

}  // namespace

void guard_temporary_files() {
    struct sigaction action {};
    action.sa_handler = remove_pending;
    sigemptyset(&action.sa_mask);
    for (const int number : kSignals) {
        struct sigaction old {};
        sigaction(number, nullptr, &old);
        if (old.sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
    }
    ::signal(SIGXFSZ, SIG_IGN);
}

Output::Output(const std::string& path, Access access) : name_(path), fd_(STDOUT_FILENO) {
    if (path == "-") {
        name_ = "standard output";
        return;
    }
    struct stat st {};
    const bool exists = ::stat(path.c_str(), &st) == 0;
    if (exists && !S_ISREG(st.st_mode)) {
        owned_ = Fd(::open(path.c_str(), O_WRONLY | O_CLOEXEC | O_NOCTTY));
        if (!owned_.valid()) throw system_failure(path);
        fd_ = owned_.get();
        return;
    }
    if (path.empty() || path.back() == '/') {
        errno = path.empty() ? ENOENT : EISDIR;
        throw system_failure(path);
    }
    mode_ = exists ? st.st_mode & 07777 : usual_mode();
    open_temporary(path, access);
}

Output::Output(Fd fd, std::string name) : name_(std::move(name)), owned_(std::move(fd)), fd_(owned_.get()) {}

void Output::open_temporary(const std::string& path, Access access) {
    if (access == Access::owner) mode_ = 0600;
    target_ = resolve(path);
    const std::size_t slash = target_.rfind('/');
    temporary_ = (slash == std::string::npos ? "" : target_.substr(0, slash + 1)) + ".ulmaro-XXXXXX";
    const SignalHold hold;
    owned_ = Fd(::mkostemp(temporary_.data(), O_CLOEXEC));
    if (!owned_.valid()) {
        temporary_.clear();
        throw system_failure(path);
    }
    fd_ = owned_.get();
    if (!remember(temporary_)) {
        ::unlink(temporary_.c_str());
        temporary_.clear();
        errno = ENAMETOOLONG;
        throw system_failure(path);
    }
}

Output::~Output() {
    if (temporary_.empty()) return;
    const SignalHold hold;
    ::unlink(temporary_.c_str());
    forget(temporary_);
}

void Output::write(std::span<const unsigned char> bytes) {
    while (!bytes.empty()) {
        const ssize_t n = ::write(fd_, bytes.data(), bytes.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) throw system_failure(name_);
        bytes = bytes.subspan(static_cast<std::size_t>(n));
    }
}

void Output::commit() {
    if (!temporary_.empty() && ::fchmod(fd_, mode_) != 0) throw system_failure(name_);
    // Some file systems report a full disk only here.
    if (owned_.valid() && ::close(owned_.release()) != 0) throw system_failure(name_);
    if (temporary_.empty()) return;
    const SignalHold hold;
    if (::rename(temporary_.c_str(), target_.c_str()) != 0) throw system_failure(name_);
    forget(temporary_);
    temporary_.clear();
}

void write_whole(const std::string& path, std::span<const unsigned char> bytes, Access access) {
    Output output(path, access);
    output.write(bytes);
    output.commit();
}

}  // namespace ulmaro::tool
