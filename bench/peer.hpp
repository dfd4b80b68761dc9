// For the peers' case files.
#pragma once

#include <cstdio>
#include <cstdlib>

namespace bench {

/// A peer that refuses a call is not worth measuring.
inline void ensure(bool holds, const char* who) {
    if (holds) return;
    std::fprintf(stderr, "%s refused a call\n", who);
    std::abort();
}

}  // namespace bench
