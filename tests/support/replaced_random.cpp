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
    int value;
    if (!state.script.empty()) {
        value = state.script.front();
        state.script.pop_front();
    } else if (state.otherwise != nullptr) {
        value = state.otherwise();
    } else {
        sequence = sequence * 6364136223846793005U + 1442695040888963407U;
        value = static_cast<int>(sequence >> 33);
    }
    if (state.drawn != nullptr) state.drawn->push_back(static_cast<unsigned char>(value));
    return value;
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
