// What a call leaves behind: it runs on a painted stack of its own, and heap blocks that it frees are kept, so both can
// be searched for secrets afterwards. Link remains.cpp, which replaces operator new and delete, and wrap explicit_bzero
// and __explicit_bzero_chk with the linker.
//
// Not seen: registers, and secrets of which fewer than two words are left or whose form is not listed below.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "support/bytes.hpp"

namespace ulmaro::test {

/// Runs call; returns its stack followed by the blocks that it freed.
Bytes remains_of(const std::function<void()>& call);

/// The same while the library's wipes do nothing.
Bytes remains_without_wiping(const std::function<void()>& call);

/// Bytes of stack below the frame of call, which must call mark_stack first: how far down it changed without wipes, and
/// how far down the library's wipes reached, 0 for none. Also the number of heap blocks freed.
struct StackUse {
    std::size_t changed, wiped, freed;
};
StackUse stack_used_by(const std::function<void()>& call);
[[gnu::noinline]] void mark_stack();

/// Byte strings to look for: as given, reversed, and with the bytes of every 32-bit or 64-bit word reversed, which is
/// how the library holds numbers and blocks. Two consecutive 32-bit words count as found, and so do three of one name
/// anywhere: lanes are interleaved, and spilled registers can be anywhere.
class Secrets {
public:
    void add(const std::string& name, std::span<const unsigned char> bytes);

    /// The names and places of all secrets found; empty is good.
    std::string found_in(std::span<const unsigned char> memory) const;

private:
    void add_form(const std::string& name, std::span<const unsigned char> bytes);

    std::unordered_map<std::uint32_t, std::string> words_;
    std::unordered_set<std::uint64_t> pairs_;
};

}  // namespace ulmaro::test
