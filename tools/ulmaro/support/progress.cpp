#include "support/progress.hpp"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <string>

namespace ulmaro::tool {
namespace {

constexpr std::uint64_t worth_showing = 16U << 20;
constexpr int bar_width = 40;

}  // namespace

Progress::Progress(std::uint64_t total, bool wanted, const std::atomic<bool>* turn)
    : total_(total), active_(wanted && total > worth_showing && ::isatty(STDERR_FILENO) == 1), turn_(turn) {}

Progress::~Progress() {
    if (shown_ >= 0) std::fputs("\r\033[K", stderr);
}

void Progress::advance(std::uint64_t bytes) {
    done_ += bytes;
    if (!active_ || (turn_ != nullptr && !*turn_)) return;
    const int percent = static_cast<int>(std::min<std::uint64_t>(100, done_ / (total_ / 100)));
    if (percent == shown_) return;
    shown_ = percent;
    const auto filled = static_cast<std::size_t>(percent * bar_width / 100);
    const std::string bar = std::string(filled, '#') + std::string(bar_width - filled, '.');
    std::fprintf(stderr, "\r[%s] %3d%%", bar.c_str(), percent);
    std::fflush(stderr);
}

}  // namespace ulmaro::tool
