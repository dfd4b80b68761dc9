// How a measured case is named, registered and checked. A name is operation/size/implementation, or
// operation/implementation where size does not matter; the library's own implementation is "ulmaro", and any other of
// the same operation and size is a peer to compare it with. Case files register from their initialisers.
#pragma once

#include <cstddef>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

namespace bench {

using Work = std::function<void()>;
using Check = std::function<bool()>;

struct Case {
    std::string operation;  // with the size
    std::string implementation;
    std::size_t size;  // bytes handled by one call; 0 where they do not matter
    Work work;
    Check ok;
    bool checked = false;

    /// Whether one call gives the right result; asked once, before the case is measured.
    bool passes();
};

std::vector<Case>& cases();

/// Sizes in bytes at which bulk operations are measured, ascending. Each program has its own.
std::span<const std::size_t> sizes();

/// Sizes of messages for public-key encryption.
inline constexpr std::size_t message_sizes[] = {32, 1024, 65536};

/// ok() tells whether the last work() was right.
void add(const std::string& operation, std::size_t size, const std::string& implementation, Work work, Check ok);

/// work() leaves `result` bytes in output(), the same whoever does it.
void add(const std::string& operation, std::size_t size, const std::string& implementation, Work work,
         std::size_t result);

/// What belongs beside the numbers: versions of the peers.
std::vector<std::pair<std::string, std::string>>& notes();

/// size bytes that are not all alike, shared by every case and never written.
const unsigned char* input(std::size_t size);

/// A place for size bytes of output and 256 more, one for the whole program.
unsigned char* output(std::size_t size);

inline constexpr unsigned char sample_key[16] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef,
                                                 0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10};
inline constexpr unsigned char sample_iv[16] = {};

}  // namespace bench
