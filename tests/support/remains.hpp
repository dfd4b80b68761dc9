// What a call leaves behind: it runs on a painted stack of its own, and heap blocks that it frees are kept, so that
// both can be searched for secrets afterwards. Link remains.cpp, which replaces operator new and delete.
//
// Not seen: registers, and secrets of which fewer than eight bytes in a row are left, or in a form not asked for.
#pragma once

#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <unordered_map>

#include "support/bytes.hpp"

namespace ulmaro::test {

/// Runs call; returns its stack, and then the blocks that it freed, one after the other.
Bytes remains_of(const std::function<void()>& call);

/// The bytes of stack that the functions use which call calls, itself not counted: it must call mark_stack first.
std::size_t depth_of(const std::function<void()>& call);
[[gnu::noinline]] void mark_stack();

/// Byte strings to look for: as they are, reversed, and with the bytes of every word of 32 or of 64 bits reversed,
/// which are the ways in which the library holds numbers and blocks. Pieces of eight bytes from every fourth byte on
/// count.
class Secrets {
public:
    void add(const std::string& name, std::span<const unsigned char> bytes);

    /// The names of all secrets of which there is a piece, one after the other; empty is good.
    std::string found_in(std::span<const unsigned char> memory) const;

private:
    void add_form(const std::string& name, std::span<const unsigned char> bytes);

    std::unordered_map<std::uint64_t, std::string> pieces_;
};

}  // namespace ulmaro::test
