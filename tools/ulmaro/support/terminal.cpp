#include "support/terminal.hpp"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cerrno>

#include "support/error.hpp"
#include "support/fd.hpp"
#include "support/signals.hpp"
#include "support/text.hpp"

namespace ulmaro::tool {
namespace {

constexpr const char* terminal_path = "/dev/tty";
constexpr std::size_t longest_line = 4096;  // the most the terminal returns at once

volatile sig_atomic_t g_caught = 0;  // bit n: signal n

void note(int number) { g_caught = g_caught | 1 << number; }

sigset_t noted_signals() {
    sigset_t set = ending_signals();
    sigaddset(&set, SIGTSTP);
    sigaddset(&set, SIGCONT);
    return set;
}

/// Signals are only recorded while it lives, except those that the process ignores.
class Noted {
public:
    Noted() {
        g_caught = 0;
        struct sigaction action {};
        action.sa_handler = note;
        action.sa_mask = set_;
        for (int number = 1; number < signal_count; ++number) {
            if (sigismember(&set_, number) != 1) continue;
            sigaction(number, nullptr, &saved(number));
            if (saved(number).sa_handler != SIG_IGN) sigaction(number, &action, nullptr);
        }
    }
    ~Noted() {
        for (int number = 1; number < signal_count; ++number) {
            if (sigismember(&set_, number) == 1) sigaction(number, &saved(number), nullptr);
        }
    }
    Noted(const Noted&) = delete;
    Noted& operator=(const Noted&) = delete;

    static constexpr int signal_count = 31;  // as many as there are bits

private:
    struct sigaction& saved(int number) {
        return saved_[static_cast<std::size_t>(number)];
    }

    const sigset_t set_ = noted_signals();
    std::array<struct sigaction, signal_count> saved_{};
};

/// Turns echo off while it lives. In the background the process stops here, before it has changed anything; a signal
/// ends the wait.
class SilentTerminal {
public:
    explicit SilentTerminal(int fd) : fd_(fd) {
        if (::tcgetattr(fd_, &saved_) != 0) throw system_failure(terminal_path);
        termios silent = saved_;
        silent.c_lflag &= ~static_cast<tcflag_t>(ECHO);
        changed_ = ::tcsetattr(fd_, TCSANOW, &silent) == 0;
        if (!changed_ && errno != EINTR) throw system_failure(terminal_path);
    }
    ~SilentTerminal() {
        if (!changed_) return;
        sigset_t background;
        sigemptyset(&background);
        sigaddset(&background, SIGTTOU);
        const SignalHold hold(background);
        // What was typed so far must not become the command line of a shell.
        if (g_caught != 0) ::tcflush(fd_, TCIFLUSH);
        ::tcsetattr(fd_, TCSANOW, &saved_);
    }
    SilentTerminal(const SilentTerminal&) = delete;
    SilentTerminal& operator=(const SilentTerminal&) = delete;

    bool changed() const { return changed_; }

private:
    int fd_;
    termios saved_{};
    bool changed_ = false;
};

void say(int fd, const std::string& text) {
    if (::write(fd, text.data(), text.size()) < 0) throw system_failure(terminal_path);
}

/// Asks once. False when a signal came instead of an answer; g_caught then shows which.
bool ask_once(int fd, const std::string& prompt, SecretBuffer& line) {
    const Noted noted;
    const SilentTerminal silent(fd);
    const SignalHold hold(noted_signals());
    if (!silent.changed() || g_caught != 0) return false;
    say(fd, prompt + ": ");
    // From here on signals arrive only in the wait, so that none falls between a check of g_caught and the wait.
    pollfd wait{fd, POLLIN, 0};
    const int ready = ::ppoll(&wait, 1, nullptr, &hold.before());
    if (ready < 0 && errno != EINTR) throw system_failure(terminal_path);
    const ssize_t n = ready > 0 ? ::read(fd, line.data(), line.size()) : 0;
    if (n < 0) throw system_failure(terminal_path);
    say(fd, "\n");
    if (ready <= 0) return false;
    line.shrink(static_cast<std::size_t>(n));
    return true;
}

/// Delivers the signals that were recorded.
void raise_caught() {
    for (int number = 1; number < Noted::signal_count; ++number) {
        if ((g_caught >> number & 1) != 0 && number != SIGCONT) ::raise(number);
    }
}

}  // namespace

SecretBuffer ask_terminal(const std::string& prompt, std::size_t limit) {
    const Fd terminal(::open(terminal_path, O_RDWR | O_CLOEXEC | O_NOCTTY));
    if (!terminal.valid()) throw Failure(prompt + ": no terminal to ask on, use --passphrase-file");
    SecretBuffer line(longest_line);
    for (bool answered = false; !answered;) {
        answered = ask_once(terminal.get(), printable(prompt), line);
        raise_caught();
    }
    const auto text = line.span();
    line.shrink(static_cast<std::size_t>(std::ranges::find(text, '\n') - text.begin()));
    if (line.size() > limit) throw Failure("the passphrase has more than " + std::to_string(limit) + " bytes");
    return line;
}

}  // namespace ulmaro::tool
