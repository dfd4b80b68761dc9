// The signals that end a run early.
#pragma once

#include <signal.h>

namespace ulmaro::tool {

/// Those sent by a user, a shell or a limit that end the process by default, and that of abort(). Not those of faults,
/// which would come again when their handler returns, nor the real-time signals.
constexpr int ending[] = {SIGHUP,  SIGINT,  SIGQUIT,   SIGABRT, SIGPIPE, SIGTERM, SIGALRM,  SIGUSR1,
                          SIGUSR2, SIGXCPU, SIGVTALRM, SIGPROF, SIGIO,   SIGPWR,  SIGSTKFLT};

inline sigset_t ending_signals() {
    sigset_t set;
    sigemptyset(&set);
    for (const int number : ending) sigaddset(&set, number);
    return set;
}

/// Blocks a set of signals while it lives.
class SignalHold {
public:
    explicit SignalHold(const sigset_t& set = ending_signals()) { sigprocmask(SIG_BLOCK, &set, &saved_); }
    ~SignalHold() { sigprocmask(SIG_SETMASK, &saved_, nullptr); }
    SignalHold(const SignalHold&) = delete;
    SignalHold& operator=(const SignalHold&) = delete;

    const sigset_t& before() const { return saved_; }  ///< what was blocked outside

private:
    sigset_t saved_{};
};

}  // namespace ulmaro::tool
