// The kernel's generator. Scalars are made uniform by rejection. Without randomness the process ends: never a weak key.
#include <sys/random.h>

#include <bit>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>

#include "base/barrier.hpp"
#include "base/random.hpp"

namespace ulmaro {
namespace {

void fill(std::span<std::byte> out) noexcept {
    while (!out.empty()) {
        const ssize_t got = getrandom(out.data(), out.size(), 0);
        if (got > 0) {
            out = out.subspan(static_cast<std::size_t>(got));
        } else if (got == 0 || errno != EINTR) {
            std::fputs("UlmaroAlgrithm: the kernel gives no random bytes\n", stderr);
            std::abort();
        }
    }
}

/// All ones when k < order, else 0, in constant time.
std::uint32_t below_mask(std::span<const std::uint32_t, 8> k, std::span<const std::uint32_t, 8> order) noexcept {
    std::uint64_t borrow = 0;
    for (std::size_t i = 0; i < k.size(); ++i) borrow = (std::uint64_t{k[i]} - order[i] - borrow) >> 63;
    return value_barrier(static_cast<std::uint32_t>(-borrow));
}

}  // namespace

void draw_scalar(std::span<std::uint32_t, 8> k, std::span<const std::uint32_t, 8> order) noexcept {
    fill(std::as_writable_bytes(k));
    // Truncated to the length of the order, so that at least half of all draws are below it.
    k[7] &= ~std::uint32_t{0} >> std::countl_zero(order[7]);
    const std::uint32_t keep = below_mask(k, order);
    for (std::uint32_t& word : k) word &= keep;
}

void note_group_prepared() noexcept {}

}  // namespace ulmaro

#ifdef ULMARO_STATIC
extern "C" void ulmaro_random_kernel() {}  // asked for by what links this archive
#endif
