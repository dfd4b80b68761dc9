// What a call leaves behind: it runs on a painted stack of its own, and heap blocks that it frees are kept, so both can
// be searched for secrets afterwards. Include this in one file of a program, and wrap explicit_bzero and
// __explicit_bzero_chk with the linker.
//
// Not seen: registers, and secrets of which fewer than two words are left or whose form is not listed below.
#pragma once

#include <malloc.h>
#include <pthread.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <map>
#include <new>
#include <set>
#include <unordered_map>
#include <unordered_set>

#include "support/bytes.hpp"

namespace ulmaro::test {

inline constexpr unsigned char paint_byte = 0x5a;
alignas(4096) inline unsigned char painted_stack[1 << 18];

/// Freed blocks. Fixed in size, because operator delete fills it.
inline struct {
    bool on = false;
    std::size_t count = 0;
    std::array<unsigned char*, 1000> block{};
} kept;

[[gnu::noinline]] inline void release(void* memory) {
    if (kept.on && memory != nullptr && kept.count < kept.block.size()) {
        kept.block[kept.count++] = static_cast<unsigned char*>(memory);
    } else {
        std::free(memory);
    }
}

inline bool wiping = true;
/// The stack pointer of the function that called mark_stack, and the lowest address on the stack that was wiped.
inline const unsigned char *marked = nullptr, *lowest_wiped = nullptr;

}  // namespace ulmaro::test

// The library's wipes; the linker redirects them here.
extern "C" void __wrap_explicit_bzero(void* memory, std::size_t size) {
    using namespace ulmaro::test;
    if (!wiping) return;
    std::memset(memory, 0, size);
    __asm__ volatile("" : : "r"(memory) : "memory");
    if (memory >= painted_stack && memory < lowest_wiped) lowest_wiped = static_cast<unsigned char*>(memory);
}
extern "C" void __wrap___explicit_bzero_chk(void* memory, std::size_t size, std::size_t) {
    __wrap_explicit_bzero(memory, size);
}

// The forms for arrays call these. A block is painted: what the test left there is not the call's.
[[gnu::noinline]] void* operator new(std::size_t size) {
    void* const memory = std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    return std::memset(memory, ulmaro::test::paint_byte, malloc_usable_size(memory));
}
void operator delete(void* memory) noexcept { ulmaro::test::release(memory); }
void operator delete(void* memory, std::size_t) noexcept { ulmaro::test::release(memory); }

namespace ulmaro::test {

inline const unsigned char* deepest_change() {
    return std::ranges::find_if(painted_stack, [](unsigned char b) { return b != paint_byte; });
}

/// Runs call; returns its stack followed by the blocks that it freed.
inline Bytes remains_of(const std::function<void()>& call) {
    std::ranges::fill(painted_stack, paint_byte);
    lowest_wiped = std::end(painted_stack);
    // Thread exit reuses the top of the stack, so the call starts below that.
    constexpr auto run = [](void* given) -> void* {
        unsigned char gap[1 << 13];
        __asm__ volatile("" : : "r"(gap) : "memory");
        (*static_cast<const std::function<void()>*>(given))();
        return nullptr;
    };
    pthread_attr_t attributes;
    pthread_t thread;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, painted_stack, sizeof painted_stack);
    kept.count = 0;
    kept.on = true;
    if (pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&call)) != 0) std::abort();
    pthread_join(thread, nullptr);
    kept.on = false;
    Bytes memory(deepest_change(), static_cast<const unsigned char*>(std::end(painted_stack)));
    for (unsigned char* block : std::span(kept.block).first(kept.count)) {
        memory.insert(memory.end(), block, block + malloc_usable_size(block));
        std::free(block);
    }
    return memory;
}

/// The same while the library's wipes do nothing.
inline Bytes remains_without_wiping(const std::function<void()>& call) {
    wiping = false;
    Bytes memory = remains_of(call);
    wiping = true;
    return memory;
}

[[gnu::noinline]] inline void mark_stack() {
    // The frame is that of a function without arguments or locals: return address and frame pointer.
    marked = static_cast<const unsigned char*>(__builtin_frame_address(0)) + 16;
}

/// Bytes of stack below the frame of call, which must call mark_stack first: how far down it changed without wipes, and
/// how far down the library's wipes reached, 0 for none.
struct StackUse {
    std::size_t changed, wiped;
};
inline StackUse stack_used_by(const std::function<void()>& call) {
    remains_of(call);
    const std::size_t wiped = lowest_wiped < marked ? static_cast<std::size_t>(marked - lowest_wiped) : 0;
    remains_without_wiping(call);
    return {static_cast<std::size_t>(marked - deepest_change()), wiped};
}

/// Byte strings to look for: as given, reversed, and with the bytes of every 32-bit or 64-bit word reversed, which is
/// how the library holds numbers and blocks. Two consecutive 32-bit words count as found, and so do three of one name
/// anywhere: lanes are interleaved, and spilled registers can be anywhere.
class Secrets {
public:
    void add(const std::string& name, std::span<const unsigned char> bytes) {
        for (const std::size_t width : {std::size_t{1}, std::size_t{4}, std::size_t{8}, bytes.size()}) {
            Bytes form(bytes.begin(), bytes.end());
            for (std::size_t at = 0; at + width <= form.size(); at += width) {
                std::reverse(&form[at], &form[at] + width);
            }
            for (std::size_t at = 0; at + 4 <= form.size(); at += 4) {
                words_.try_emplace(load<std::uint32_t>(&form[at]), name);
                if (at + 8 <= form.size()) pairs_.insert(load<std::uint64_t>(&form[at]));
            }
        }
    }

    /// The name of the first secret found; empty is good.
    std::string found_in(std::span<const unsigned char> memory) const {
        std::map<std::string, std::set<std::uint32_t>> seen;
        for (std::size_t at = 0; at + 4 <= memory.size(); ++at) {
            const auto known = words_.find(load<std::uint32_t>(&memory[at]));
            if (known == words_.end()) continue;
            auto& words = seen[known->second];
            words.insert(known->first);
            const bool paired = at + 8 <= memory.size() && pairs_.contains(load<std::uint64_t>(&memory[at]));
            if (paired || words.size() >= 3) return known->second;
        }
        return "";
    }

private:
    template <class Word>
    static Word load(const unsigned char* p) {
        Word word;
        std::memcpy(&word, p, sizeof word);
        return word;
    }

    std::unordered_map<std::uint32_t, std::string> words_;
    std::unordered_set<std::uint64_t> pairs_;
};

}  // namespace ulmaro::test
