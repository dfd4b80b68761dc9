// Erasing secrets from scratch memory in a way that the compiler cannot drop.
#pragma once

#include <string.h>

#include <cstddef>
#include <type_traits>

namespace ulmaro {

/// Zeroes n bytes at p, even when p is never read again.
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

/// Zeroes n bytes of the stack below the caller's frame, n a multiple of 16, where the frames of calls that have
/// returned held spilled registers and temporaries. These bytes become part of the caller's frame until it returns, so
/// that nothing lies in between.
[[gnu::always_inline]] inline void wipe_used_stack(std::size_t n) noexcept {
#if defined(__x86_64__)
    n |= 8;  // compilers round up to 16 and leave the rest above, where the calls had their return address
#endif
    __asm__("" : "+r"(n));  // a size known to the compiler would be placed elsewhere than the frames were
    explicit_bzero(__builtin_alloca_with_align(n, 128), n);
}

template <typename F>
[[gnu::noinline]] auto call_in_own_frame(F& f) noexcept {
    return f();
}

/// Calls f() and then zeroes n bytes of the stack, a multiple of 16 that covers all that f uses, its own frame
/// included.
template <typename F>
[[gnu::noinline]] auto with_wiped_stack(std::size_t n, F&& f) noexcept {
    if constexpr (std::is_void_v<decltype(f())>) {
        call_in_own_frame(f);
        wipe_used_stack(n);
    } else {
        auto result = call_in_own_frame(f);
        wipe_used_stack(n);
        return result;
    }
}

}  // namespace ulmaro
