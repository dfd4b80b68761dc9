#include "support/replaced_random.hpp"

#include <cstdint>
#include <cstdlib>

namespace {

std::uint64_t sequence = 1;

}  // namespace

namespace ulmaro::test {

ReplacedRandom& replaced_random() {
    static ReplacedRandom state;
    return state;
}

}  // namespace ulmaro::test

extern "C" {

int rand() noexcept {
    auto& state = ulmaro::test::replaced_random();
    ++state.calls;
    if (!state.script.empty()) {
        const int value = state.script.front();
        state.script.pop_front();
        return value;
    }
    if (state.otherwise != nullptr) return state.otherwise();
    sequence = sequence * 6364136223846793005U + 1442695040888963407U;
    return static_cast<int>(sequence >> 33);
}

void srand(unsigned int seed) noexcept {
    ulmaro::test::replaced_random().seeds.push_back(seed);
    sequence = seed;
}

std::time_t time(std::time_t* out) noexcept {
    const std::time_t now = ulmaro::test::replaced_random().now;
    if (out != nullptr) *out = now;
    return now;
}
}
