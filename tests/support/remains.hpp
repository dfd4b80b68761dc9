// What a call leaves behind: it runs on a painted stack of its own, and heap blocks that it frees are kept, so that
// both can be searched for secrets afterwards. Link remains.cpp, which replaces operator new and delete, and let
// the linker turn explicit_bzero and __explicit_bzero_chk to it.
//
// Not seen: registers, and secrets of which fewer than two words are left, or in a form not asked for.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <unordered_map>
#include <unordered_set>

#include "support/bytes.hpp"

namespace ulmaro::test {

/// Runs call; returns its stack, and then the blocks that it freed, one after the other.
Bytes remains_of(const std::function<void()>& call);

/// The same while the library's wipes do nothing.
Bytes remains_without_wiping(const std::function<void()>& call);

/// Bytes of stack below the frame of call, which must call mark_stack first: as far as it changed without wipes, and as
/// far down as one of the library's wipes reached, 0 for none. And the blocks of the heap that it freed.
struct StackUse {
    std::size_t changed, wiped, freed;
};
StackUse stack_used_by(const std::function<void()>& call);
[[gnu::noinline]] void mark_stack();

/// Byte strings to look for: as they are, reversed, and with the bytes of every word of 32 or of 64 bits reversed,
/// which are the ways in which the library holds numbers and blocks. Two words of 32 bits count that follow each other,
/// and three of one name wherever they are: lanes lie across each other, and spilled registers anywhere.
class Secrets {
public:
    void add(const std::string& name, std::span<const unsigned char> bytes);

    /// The names of all secrets of which there is something, with the places; empty is good.
    std::string found_in(std::span<const unsigned char> memory) const;

private:
    void add_form(const std::string& name, std::span<const unsigned char> bytes);

    std::unordered_map<std::uint32_t, std::string> words_;
    std::unordered_set<std::uint64_t> pairs_;
};

}  // namespace ulmaro::test
