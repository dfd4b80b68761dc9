#include "support/input.hpp"

#include <fcntl.h>

#include <algorithm>

#include "support/error.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t first_guess = 4096;

}  // namespace

Input::Input(const std::string& path) : name_(path), fd_(STDIN_FILENO) {
    if (path == "-") {
        name_ = "standard input";
        return;
    }
    owned_ = Fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY));
    if (!owned_.valid()) throw system_failure(path);
    fd_ = owned_.get();
    ::posix_fadvise(fd_, 0, 0, POSIX_FADV_SEQUENTIAL);
}

Input::Input(Fd fd, std::string name) : name_(std::move(name)), owned_(std::move(fd)), fd_(owned_.get()) {
    if (::lseek(fd_, 0, SEEK_SET) != 0) throw system_failure(name_);
}

std::size_t Input::read(std::span<unsigned char> buffer) {
    std::size_t filled = 0;
    while (filled < buffer.size()) {
        const ssize_t n = ::read(fd_, buffer.data() + filled, buffer.size() - filled);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) throw system_failure(name_);
        if (n == 0) break;
        filled += static_cast<std::size_t>(n);
    }
    return filled;
}

SecretBuffer Input::read_all(std::size_t limit) {
    const auto too_much = [&] { return Failure(name_ + ": more than " + std::to_string(limit) + " bytes"); };
    if (size() > limit) throw too_much();
    // One byte more than expected, so that the end is seen without another round.
    SecretBuffer buffer(std::max<std::size_t>(static_cast<std::size_t>(size()), first_guess) + 1);
    std::size_t filled = read(buffer.span());
    while (filled == buffer.size()) {
        if (filled > limit) throw too_much();
        SecretBuffer larger(2 * filled);
        std::ranges::copy(buffer.span(), larger.data());
        buffer = std::move(larger);
        filled += read(buffer.span().subspan(filled));
    }
    if (filled > limit) throw too_much();
    buffer.shrink(filled);
    return buffer;
}

std::uint64_t Input::size() const {
    struct stat st {};
    if (!status(st) || !S_ISREG(st.st_mode)) return 0;
    return static_cast<std::uint64_t>(st.st_size);
}

}  // namespace ulmaro::tool
