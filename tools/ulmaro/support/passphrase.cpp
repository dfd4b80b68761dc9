#include "support/passphrase.hpp"

#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>

#include "support/error.hpp"
#include "support/fd.hpp"
#include "support/input.hpp"

namespace ulmaro::tool {
namespace {

constexpr std::size_t kMostBytes = 4096;

/// No echo while it lives. Signals from the keyboard are off too: they would leave the terminal mute.
class SilentTerminal {
public:
    explicit SilentTerminal(int fd) : fd_(fd) {
        if (::tcgetattr(fd_, &saved_) != 0) throw system_failure("/dev/tty");
        termios silent = saved_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO | ISIG);
        ::tcsetattr(fd_, TCSANOW, &silent);
    }
    ~SilentTerminal() { ::tcsetattr(fd_, TCSANOW, &saved_); }
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;

private:
    int fd_;
    termios saved_{};
};

void keep_first_line(SecretBuffer& text) {
    const auto all = text.span();
    const auto end = std::ranges::find_if(all, [](unsigned char c) { return c == '\n' || c == '\r'; });
    text.shrink(static_cast<std::size_t>(end - all.begin()));
}

void say(int fd, const std::string& text) {
    if (::write(fd, text.data(), text.size()) < 0) throw system_failure("/dev/tty");
}

SecretBuffer ask_terminal(const std::string& prompt) {
    const Fd terminal(::open("/dev/tty", O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (!terminal.valid()) throw Failure(prompt + ": no terminal to ask on, use --passphrase-file");
    SecretBuffer line(kMostBytes);
    const SilentTerminal silent(terminal.get());
    say(terminal.get(), prompt + ": ");
    const ssize_t n = ::read(terminal.get(), line.data(), line.size());  // the terminal hands over whole lines
    say(terminal.get(), "\n");
    line.shrink(static_cast<std::size_t>(std::max<ssize_t>(n, 0)));
    keep_first_line(line);
    return line;
}

}  // namespace

SecretBuffer read_passphrase(const std::optional<std::string>& file, const std::string& prompt, bool twice) {
    SecretBuffer passphrase = file ? Input(*file).read_all(kMostBytes) : ask_terminal(prompt);
    keep_first_line(passphrase);
    if (passphrase.size() == 0) throw Failure("the passphrase is empty");
    if (!file && twice && !std::ranges::equal(passphrase.span(), ask_terminal(prompt + " again").span())) {
        throw Failure("the passphrases differ");
    }
    return passphrase;
}

}  // namespace ulmaro::tool
