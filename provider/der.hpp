// As much DER as signatures and ciphertexts need, strictly: INTEGERs of at most 256 bits, OCTET STRINGs, SEQUENCEs.
#pragma once

#include <cstddef>
#include <span>

#include "parameters.hpp"

namespace ulmaro::provider {

constexpr unsigned char der_octet_string = 0x04;
constexpr unsigned char der_sequence = 0x30;

/// Walks over the elements of one level, and refuses what is not in its shortest form.
class DerReader {
public:
    explicit DerReader(View bytes) noexcept : rest_(bytes) {}

    /// The contents of the next element, which must have this tag.
    View take(unsigned char tag);
    /// A number that is not negative, to big-endian bytes.
    void take_number(std::span<unsigned char, 32> number);
    /// Refuses further elements.
    void finish() const;

private:
    View rest_;
};

/// Bytes of an element with contents of this size.
std::size_t der_size(std::size_t contents) noexcept;
/// Bytes of a number's element, at most 35.
std::size_t der_size(std::span<const unsigned char, 32> number) noexcept;

/// Writes elements one behind the other; the caller has made room.
class DerWriter {
public:
    explicit DerWriter(unsigned char* at) noexcept : at_(at) {}

    void header(unsigned char tag, std::size_t size) noexcept;
    void number(std::span<const unsigned char, 32> number) noexcept;
    void octets(View bytes) noexcept;

private:
    unsigned char* at_;
};

}  // namespace ulmaro::provider
