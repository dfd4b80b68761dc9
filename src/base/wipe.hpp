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

/// Zeroes n bytes of the stack below the caller's frame, where the frames of calls that have returned held spilled
/// registers and temporaries.
template <std::size_t n>
[[gnu::noinline]] void wipe_used_stack() noexcept {
    Wiped<unsigned char[n]> area;
}

template <typename F>
[[gnu::noinline]] auto call_in_own_frame(F&& f) {
    return f();
}

/// f(), and then zeroes the n bytes of stack that it used at most.
template <std::size_t n, typename F>
auto with_wiped_stack(F&& f) {
    struct Wipe {
        ~Wipe() { wipe_used_stack<n>(); }
    } at_end;
    return call_in_own_frame(f);
}

}  // namespace ulmaro
