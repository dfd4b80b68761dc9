#include "support/remains.hpp"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>

namespace {

constexpr unsigned char kPaint = 0x5a;

/// Freed blocks with their sizes. Fixed in size, because it is filled by operator delete.
struct {
    bool on = false;
    std::size_t count = 0;
    std::array<unsigned char*, 1000> block{};
} kept;

// The size stands before the block.
constexpr std::size_t kHeader = alignof(std::max_align_t);

std::size_t size_of(const unsigned char* block) {
    std::size_t size;
    std::memcpy(&size, block - kHeader, sizeof size);
    return size;
}

void* allocate(std::size_t size) {
    auto* memory = static_cast<unsigned char*>(std::malloc(kHeader + size));
    if (memory == nullptr) throw std::bad_alloc();
    std::memcpy(memory, &size, sizeof size);
    return memory + kHeader;
}

void release(void* memory) noexcept {
    if (memory == nullptr) return;
    auto* block = static_cast<unsigned char*>(memory);
    if (kept.on && kept.count < kept.block.size())
        kept.block[kept.count++] = block;
    else
        std::free(block - kHeader);
}

const unsigned char* marked = nullptr;  // the stack pointer of the function that called mark_stack

// The thread's end uses the top of the stack again; what the call leaves begins below that.
[[gnu::noinline]] void* run(void* call) {
    unsigned char gap[1 << 13];
    __asm__ volatile("" : : "r"(gap) : "memory");
    (*static_cast<const std::function<void()>*>(call))();
    return nullptr;
}

}  // namespace

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete[](void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }
void operator delete[](void* memory, std::size_t) noexcept { release(memory); }

namespace ulmaro::test {

namespace {

constexpr std::size_t kStack = 1 << 18;
alignas(4096) unsigned char stack[kStack];

void run_on_painted_stack(const std::function<void()>& call) {
    std::memset(stack, kPaint, sizeof stack);
    pthread_attr_t attributes;
    pthread_t thread;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack, sizeof stack);
    kept.count = 0;
    kept.on = true;
    const int failed = pthread_create(&thread, &attributes, run, const_cast<std::function<void()>*>(&call));
    if (failed == 0) pthread_join(thread, nullptr);
    kept.on = false;
    pthread_attr_destroy(&attributes);
    if (failed != 0) std::abort();
}

const unsigned char* deepest_change() {
    return std::find_if(stack, stack + sizeof stack, [](unsigned char b) { return b != kPaint; });
}

}  // namespace

void mark_stack() {
    // The frame is that of a function without arguments or locals: return address and frame pointer.
    marked = static_cast<const unsigned char*>(__builtin_frame_address(0)) + 16;
}

std::size_t depth_of(const std::function<void()>& call) {
    run_on_painted_stack(call);
    for (std::size_t i = 0; i < kept.count; ++i) std::free(kept.block[i] - kHeader);
    return static_cast<std::size_t>(marked - deepest_change());
}

Bytes remains_of(const std::function<void()>& call) {
    run_on_painted_stack(call);
    Bytes memory(deepest_change(), static_cast<const unsigned char*>(stack + sizeof stack));
    for (std::size_t i = 0; i < kept.count; ++i) {
        memory.insert(memory.end(), kept.block[i], kept.block[i] + size_of(kept.block[i]));
        std::free(kept.block[i] - kHeader);
    }
    return memory;
}

void Secrets::add(const std::string& name, std::span<const unsigned char> bytes) {
    add_form(name, bytes);
    for (const std::size_t width : {std::size_t{4}, std::size_t{8}, bytes.size()}) {
        Bytes form(bytes.begin(), bytes.end());
        for (std::size_t at = 0; at + width <= form.size(); at += width) {
            const auto first = form.begin() + static_cast<std::ptrdiff_t>(at);
            std::reverse(first, first + static_cast<std::ptrdiff_t>(width));
        }
        add_form(name, form);
    }
}

void Secrets::add_form(const std::string& name, std::span<const unsigned char> bytes) {
    for (std::size_t at = 0; at + 8 <= bytes.size(); at += 4) {
        std::uint64_t piece;
        std::memcpy(&piece, bytes.data() + at, sizeof piece);
        pieces_.try_emplace(piece, name);
    }
}

std::string Secrets::found_in(std::span<const unsigned char> memory) const {
    std::map<std::string, std::size_t> last;
    for (std::size_t at = 0; at + 8 <= memory.size(); ++at) {
        std::uint64_t piece;
        std::memcpy(&piece, memory.data() + at, sizeof piece);
        const auto found = pieces_.find(piece);
        if (found != pieces_.end()) last.insert_or_assign(found->second, memory.size() - at);
    }
    std::string text;
    for (const auto& [name, at] : last) text += name + " " + std::to_string(at) + " below the top; ";
    return text;
}

}  // namespace ulmaro::test
