// The kernels of one room that this processor can run, in the order they were added: best first.
#pragma once

#include <array>
#include <cstddef>
#include <span>

namespace ulmaro {

template <typename Kernels>
class KernelList {
public:
    void add_if(bool supported, const Kernels& kernels) noexcept {
        if (supported) list_[count_++] = &kernels;
    }

    std::span<const Kernels* const> all() const noexcept { return {list_.data(), count_}; }
    const Kernels& best() const noexcept { return *list_[0]; }

private:
    std::array<const Kernels*, 8> list_{};
    std::size_t count_ = 0;
};

}  // namespace ulmaro
