// Hides a value from the compiler, so that it cannot turn a selection by a mask into a branch.
#pragma once

namespace ulmaro {

template <typename Word>
inline Word value_barrier(Word x) noexcept {
    __asm__ volatile("" : "+r"(x));
    return x;
}

}  // namespace ulmaro
