#include "der.hpp"

#include <algorithm>

#include "errors.hpp"

namespace ulmaro::provider {
namespace {

constexpr unsigned char der_integer = 0x02;

/// A number as DER has it: without leading zeros, but one where the first bit would be a sign.
View significant(std::span<const unsigned char, 32> number) noexcept {
    const auto first = std::find_if(number.begin(), number.end() - 1, [](unsigned char byte) { return byte != 0; });
    return {first, number.end()};
}

/// Bytes that a length takes after the first.
std::size_t more_length_bytes(std::size_t length) noexcept {
    std::size_t count = 0;
    if (length >= 0x80) {
        for (; length != 0; length >>= 8) ++count;
    }
    return count;
}

}  // namespace

View DerReader::take(unsigned char tag) {
    require(rest_.size() >= 2 && rest_[0] == tag, Reason::bad_encoding);
    std::size_t length = rest_[1], more = 0;
    if (length >= 0x80) {
        more = length - 0x80;
        require(more <= 4 && more <= rest_.size() - 2, Reason::bad_encoding);
        length = 0;
        for (const unsigned char byte : rest_.subspan(2, more)) length = length << 8 | byte;
        require(more == more_length_bytes(length), Reason::bad_encoding);
    }
    rest_ = rest_.subspan(2 + more);
    require(length <= rest_.size(), Reason::bad_encoding);
    const View contents = rest_.first(length);
    rest_ = rest_.subspan(length);
    return contents;
}

void DerReader::take_number(std::span<unsigned char, 32> number) {
    View contents = take(der_integer);
    require(!contents.empty() && contents[0] < 0x80, Reason::bad_encoding);
    if (contents.size() > 1 && contents[0] == 0) {
        require(contents[1] >= 0x80, Reason::bad_encoding);
        contents = contents.subspan(1);
    }
    require(contents.size() <= number.size(), Reason::bad_encoding);
    std::ranges::fill(number, 0);
    std::ranges::copy(contents, number.end() - static_cast<std::ptrdiff_t>(contents.size()));
}

void DerReader::finish() const { require(rest_.empty(), Reason::bad_encoding); }

std::size_t der_size(std::size_t contents) noexcept { return 2 + more_length_bytes(contents) + contents; }

std::size_t der_size(std::span<const unsigned char, 32> number) noexcept {
    const View digits = significant(number);
    return der_size(digits.size() + (digits[0] >= 0x80 ? 1 : 0));
}

void DerWriter::header(unsigned char tag, std::size_t size) noexcept {
    std::size_t more = more_length_bytes(size);
    *at_++ = tag;
    *at_++ = static_cast<unsigned char>(more == 0 ? size : 0x80 + more);
    while (more-- != 0) *at_++ = static_cast<unsigned char>(size >> (8 * more));
}

void DerWriter::number(std::span<const unsigned char, 32> number) noexcept {
    const View digits = significant(number);
    const bool signed_digit = digits[0] >= 0x80;
    header(der_integer, digits.size() + (signed_digit ? 1 : 0));
    if (signed_digit) *at_++ = 0;
    at_ = std::ranges::copy(digits, at_).out;
}

void DerWriter::octets(View bytes) noexcept {
    header(der_octet_string, bytes.size());
    at_ = std::ranges::copy(bytes, at_).out;
}

}  // namespace ulmaro::provider
