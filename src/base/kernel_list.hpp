// The kernels of one room that this processor can run, in the order they were added: best first.
#pragma once

#include <array>
#include <cstddef>
#include <span>
#include <string_view>

namespace ulmaro {

/// Whether this build has a kernel: all of them, unless ULMARO_KERNELS lists names, with a blank before and after each.
/// The linker drops what nothing refers to.
constexpr bool has_kernel([[maybe_unused]] std::string_view name) {
#ifdef ULMARO_KERNELS
    constexpr std::string_view list = ULMARO_KERNELS;
    for (std::size_t at = list.find(name); at != list.npos; at = list.find(name, at + 1)) {
        if (list[at - 1] == ' ' && list[at + name.size()] == ' ') return true;
    }
    return false;
#else
    return true;
#endif
}

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
