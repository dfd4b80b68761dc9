// How a measured case is named and registered. A name is operation/size/implementation; the library's own
// implementation is "ulmaro", and every other one of the same operation and size is a peer that it is compared with.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace bench {

/// Sizes in bytes at which bulk operations are measured.
inline constexpr std::size_t kSizes[] = {16, 64, 1024, 16384, 65536, 1 << 20, 64 << 20};

std::string size_name(std::size_t size);

/// Registers work(), which handles size bytes once per call. Peers register from their own files' initialisers.
void add(const std::string& operation, std::size_t size, const std::string& implementation, std::function<void()> work);

/// size bytes that are not all alike, shared by every case of that size and never written.
const unsigned char* input(std::size_t size);

/// A place for size bytes of output, one for the whole program.
unsigned char* output(std::size_t size);

inline constexpr unsigned char kKey[16] = {0x01, 0x23, 0x45, 0x67, 0x89, 0xab, 0xcd, 0xef,
                                           0xfe, 0xdc, 0xba, 0x98, 0x76, 0x54, 0x32, 0x10};
inline constexpr unsigned char kIv[16] = {};

}  // namespace bench
