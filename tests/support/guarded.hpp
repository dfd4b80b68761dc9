// Buffers that end at an inaccessible page: one byte read or written too far ends the test.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <new>
#include <span>

namespace ulmaro::test {

/// `size` elements that end exactly where an inaccessible page begins. The bytes before them, back to the start of
/// their page, are filled with a canary that intact() checks.
template <class T>
class Guarded {
public:
    explicit Guarded(std::size_t size) : size_(size) {
        const auto page = static_cast<std::size_t>(sysconf(_SC_PAGESIZE));
        usable_ = (size * sizeof(T) / page + 1) * page;
        mapped_ = usable_ + page;
        void* base = mmap(nullptr, mapped_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (base == MAP_FAILED || mprotect(static_cast<unsigned char*>(base) + usable_, page, PROT_NONE) != 0) {
            throw std::bad_alloc();
        }
        base_ = static_cast<unsigned char*>(base);
        std::memset(base_, canary_byte, usable_);
    }
    explicit Guarded(std::span<const T> content) : Guarded(content.size()) {
        if (!content.empty()) std::memcpy(data(), content.data(), content.size_bytes());
    }
    Guarded(const Guarded&) = delete;
    Guarded& operator=(const Guarded&) = delete;
    ~Guarded() { munmap(base_, mapped_); }

    T* data() { return reinterpret_cast<T*>(base_ + usable_ - size_ * sizeof(T)); }
    std::span<T> span() { return {data(), size_}; }

    /// Whether the bytes before the buffer are unchanged.
    bool intact() { return is_canary({base_, reinterpret_cast<unsigned char*>(data())}); }
    /// Whether nothing has been written to a buffer created without content.
    bool untouched() { return is_canary({base_, usable_}); }

private:
    static constexpr unsigned char canary_byte = 0xc5;
    static bool is_canary(std::span<const unsigned char> bytes) {
        return std::ranges::all_of(bytes, [](unsigned char b) { return b == canary_byte; });
    }

    std::size_t size_, usable_ = 0, mapped_ = 0;
    unsigned char* base_ = nullptr;
};

/// A pointer that must be neither read nor written through.
template <class T = unsigned char>
T* untouchable() {
    static Guarded<unsigned char> nothing(0);
    return reinterpret_cast<T*>(nothing.data());
}

}  // namespace ulmaro::test
