// A progress bar on standard error.
#pragma once

#include <atomic>
#include <cstdint>

namespace ulmaro::tool {

/// Draws only when standard error is a terminal, the caller asks for it and the input is large enough to wait for.
class Progress {
public:
    /// Of several in as many threads, each draws while its turn is true.
    Progress(std::uint64_t total, bool wanted, const std::atomic<bool>* turn = nullptr);
    Progress(const Progress&) = delete;
    Progress& operator=(const Progress&) = delete;
    ~Progress();  ///< erases the bar, so that the next message starts on a clean line

    void advance(std::uint64_t bytes);

private:
    std::uint64_t total_;
    std::uint64_t done_ = 0;
    int shown_ = -1;  ///< percentage on the screen
    bool active_;
    const std::atomic<bool>* turn_;
};

}  // namespace ulmaro::tool
