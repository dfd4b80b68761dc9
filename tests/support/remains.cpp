#include "support/remains.hpp"

#include <pthread.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <cstring>
#include <map>
#include <new>
#include <set>
#include <sstream>

namespace {

constexpr unsigned char paint_byte = 0x5a;
alignas(4096) unsigned char stack[1 << 18];

/// Freed blocks. Fixed in size, because operator delete fills it.
struct {
    bool on = false;
    std::size_t count = 0;
    std::array<unsigned char*, 1000> block{};
} kept;

// The size precedes the block.
constexpr std::size_t header_bytes = alignof(std::max_align_t);

std::size_t size_of(const unsigned char* block) {
    std::size_t size;
    std::memcpy(&size, block - header_bytes, sizeof size);
    return size;
}

void* allocate(std::size_t size) {
    auto* memory = static_cast<unsigned char*>(std::malloc(header_bytes + size));
    if (memory == nullptr) throw std::bad_alloc();
    std::memcpy(memory, &size, sizeof size);
    std::memset(memory + header_bytes, paint_byte, size);  // what the test left there is not the call's
    return memory + header_bytes;
}

void release(void* memory) noexcept {
    if (memory == nullptr) return;
    auto* block = static_cast<unsigned char*>(memory);
    if (kept.on && kept.count < kept.block.size())
        kept.block[kept.count++] = block;
    else
        std::free(block - header_bytes);
}

// The stack pointer of the function that called mark_stack, and the lowest address on the stack that was wiped.
const unsigned char* marked = nullptr;
const unsigned char* lowest_wiped = nullptr;

bool wiping = true;

// Thread exit reuses the top of the stack, so the call starts below that.
[[gnu::noinline]] void* run(void* call) {
    unsigned char gap[1 << 13];
    __asm__ volatile("" : : "r"(gap) : "memory");
    (*static_cast<const std::function<void()>*>(call))();
    return nullptr;
}

}  // namespace

// The library's wipes; the linker redirects them here.
extern "C" void __wrap_explicit_bzero(void* memory, std::size_t size) {
    if (!wiping) return;
    std::memset(memory, 0, size);
    __asm__ volatile("" : : "r"(memory) : "memory");
    if (memory >= stack && memory < lowest_wiped) lowest_wiped = static_cast<unsigned char*>(memory);
}
extern "C" void __wrap___explicit_bzero_chk(void* memory, std::size_t size, std::size_t) {
    __wrap_explicit_bzero(memory, size);
}

// The forms for arrays call these.
void* operator new(std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { release(memory); }
void operator delete(void* memory, std::size_t) noexcept { release(memory); }

namespace ulmaro::test {

namespace {

void run_on_painted_stack(const std::function<void()>& call) {
    std::memset(stack, paint_byte, sizeof stack);
    lowest_wiped = stack + sizeof stack;
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
    return std::find_if(stack, stack + sizeof stack, [](unsigned char b) { return b != paint_byte; });
}

std::uint32_t word_at(const unsigned char* p) {
    std::uint32_t word;
    std::memcpy(&word, p, sizeof word);
    return word;
}

}  // namespace

void mark_stack() {
    // The frame is that of a function without arguments or locals: return address and frame pointer.
    marked = static_cast<const unsigned char*>(__builtin_frame_address(0)) + 16;
}

StackUse stack_used_by(const std::function<void()>& call) {
    remains_of(call);
    const std::size_t wiped = lowest_wiped < marked ? static_cast<std::size_t>(marked - lowest_wiped) : 0;
    remains_without_wiping(call);
    return {static_cast<std::size_t>(marked - deepest_change()), wiped, kept.count};
}

Bytes remains_without_wiping(const std::function<void()>& call) {
    wiping = false;
    Bytes memory = remains_of(call);
    wiping = true;
    return memory;
}

Bytes remains_of(const std::function<void()>& call) {
    run_on_painted_stack(call);
    Bytes memory(deepest_change(), static_cast<const unsigned char*>(stack + sizeof stack));
    for (std::size_t i = 0; i < kept.count; ++i) {
        memory.insert(memory.end(), kept.block[i], kept.block[i] + size_of(kept.block[i]));
        std::free(kept.block[i] - header_bytes);
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
    for (std::size_t at = 0; at + 4 <= bytes.size(); at += 4) {
        const std::uint32_t word = word_at(bytes.data() + at);
        words_.try_emplace(word, name);
        if (at + 8 <= bytes.size()) pairs_.insert(std::uint64_t{word_at(bytes.data() + at + 4)} << 32 | word);
    }
}

std::string Secrets::found_in(std::span<const unsigned char> memory) const {
    struct Found {
        std::set<std::uint32_t> words;
        bool paired;
        std::size_t place;  // of the last one, counted from the end
    };
    std::map<std::string, Found> found;
    for (std::size_t at = 0; at + 4 <= memory.size(); ++at) {
        const std::uint32_t word = word_at(memory.data() + at);
        const auto known = words_.find(word);
        if (known == words_.end()) continue;
        Found& secret = found[known->second];
        secret.words.insert(word);
        secret.place = memory.size() - at;
        if (at + 8 <= memory.size() && pairs_.contains(std::uint64_t{word_at(memory.data() + at + 4)} << 32 | word))
            secret.paired = true;
    }
    std::ostringstream text;
    for (const auto& [name, secret] : found)
        if (secret.paired || secret.words.size() >= 3)
            text << secret.words.size() << " words of " << name << ", " << secret.place << " below the top; ";
    return text.str();
}

}  // namespace ulmaro::test
