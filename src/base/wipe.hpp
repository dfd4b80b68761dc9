// Erasing secrets from scratch memory in a way that the compiler cannot drop.
#pragma once

#include <string.h>

#include <cstddef>
#include <type_traits>

namespace ulmaro {

/// Zeroes n bytes at p, also when p is never read again.
inline void secure_wipe(void* p, std::size_t n) noexcept { explicit_bzero(p, n); }

/// Scratch storage that saw a secret: wiped when it leaves scope, by return and by exception alike. Not initialised.
template <typename T>
class Wiped {
public:
    Wiped() noexcept = default;
    Wiped(const Wiped&) = delete;
    Wiped& operator=(const Wiped&) = delete;
    ~Wiped() { secure_wipe(&value_, sizeof value_); }

    T& operator*() noexcept { return value_; }
    T* operator->() noexcept { return &value_; }
    /// The first element, for arrays.
    auto get() noexcept requires std::is_array_v<T> { return &value_[0]; }

private:
    T value_;
};

/// Wipes N bytes of stack below the caller's frame, where the functions it called have left intermediate values in the
/// slots of spilled registers.
template <std::size_t N>
[[gnu::noinline]] void wipe_used_stack() noexcept {
    Wiped<unsigned char[N]> area;
}

}  // namespace ulmaro
