// Lengths that cross the border as int, overlap of caller buffers, and scratch copies of secret bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>

#include "base/wipe.hpp"

namespace ulmaro {

/// The length as a size. A negative one is refused the way an array allocation of that length would be; the throw is
/// explicit because `new unsigned char[-1]` is std::bad_alloc to one compiler and std::bad_array_new_length to another.
inline std::size_t checked_length(int len) {
    if (len < 0) throw std::bad_array_new_length();
    return static_cast<std::size_t>(len);
}

/// Whether [a, a + n) and [b, b + m) share a byte.
inline bool overlap(const void* a, std::size_t n, const void* b, std::size_t m) noexcept {
    const auto x = reinterpret_cast<std::uintptr_t>(a);
    const auto y = reinterpret_cast<std::uintptr_t>(b);
    return n != 0 && m != 0 && (x < y ? y - x < n : x - y < m);
}

/// Heap bytes that are wiped before they are released; nothing is allocated for size 0. A failed allocation throws
/// std::bad_alloc.
class SecretBytes {
public:
    explicit SecretBytes(std::size_t size) : data_(size == 0 ? nullptr : new unsigned char[size]), size_(size) {}
    SecretBytes(const SecretBytes&) = delete;
    SecretBytes& operator=(const SecretBytes&) = delete;
    ~SecretBytes() {
        if (size_ != 0) secure_wipe(data_.get(), size_);
    }

    unsigned char* data() noexcept { return data_.get(); }

private:
    std::unique_ptr<unsigned char[]> data_;
    std::size_t size_;
};

}  // namespace ulmaro
