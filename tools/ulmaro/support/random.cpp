#include "support/random.hpp"

#include <sys/random.h>

#include "support/error.hpp"

namespace ulmaro::tool {

void fill_random(std::span<unsigned char> out) {
    while (!out.empty()) {
        const ssize_t n = getrandom(out.data(), out.size(), 0);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) throw system_failure("random numbers");
        out = out.subspan(static_cast<std::size_t>(n));
    }
}

}  // namespace ulmaro::tool
