// Storage for keys and plaintext that is wiped when it leaves scope.
#pragma once

#include <string.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <span>
#include <utility>

namespace ulmaro::tool {

/// Heap bytes that are wiped before they are released. The size can only shrink.
class SecretBuffer {
public:
    explicit SecretBuffer(std::size_t size)
        : data_(std::make_unique_for_overwrite<unsigned char[]>(size)), capacity_(size), size_(size) {}
    SecretBuffer(const SecretBuffer&) = delete;
    SecretBuffer& operator=(const SecretBuffer&) = delete;
    SecretBuffer(SecretBuffer&& other) noexcept
        : data_(std::move(other.data_)),
          capacity_(std::exchange(other.capacity_, 0)),
          size_(std::exchange(other.size_, 0)) {}
    SecretBuffer& operator=(SecretBuffer&& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(capacity_, other.capacity_);
        std::swap(size_, other.size_);
        return *this;
    }
    ~SecretBuffer() {
        if (data_) explicit_bzero(data_.get(), capacity_);
    }

    unsigned char* data() noexcept { return data_.get(); }
    const unsigned char* data() const noexcept { return data_.get(); }
    std::size_t size() const noexcept { return size_; }
    void shrink(std::size_t size) noexcept { size_ = std::min(size, size_); }
    std::span<unsigned char> span() noexcept { return {data_.get(), size_}; }
    std::span<const unsigned char> span() const noexcept { return {data_.get(), size_}; }

private:
    std::unique_ptr<unsigned char[]> data_;
    std::size_t capacity_;
    std::size_t size_;
};

inline SecretBuffer copy_of(std::span<const unsigned char> bytes) {
    SecretBuffer copy(bytes.size());
    std::ranges::copy(bytes, copy.data());
    return copy;
}

}  // namespace ulmaro::tool
