#include "parameters.hpp"

#include <strings.h>

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "errors.hpp"

namespace ulmaro::provider {
namespace {

static_assert(std::endian::native == std::endian::little, "numbers cross in the machine's byte order");

template <class Parameter>
Parameter* find_in(Parameter* list, const char* name) noexcept {
    for (; list != nullptr && list->key != nullptr; ++list) {
        if (std::strcmp(list->key, name) == 0) return list;
    }
    return nullptr;
}

bool is_number(const OSSL_PARAM& parameter) noexcept {
    return parameter.data_type == OSSL_PARAM_UNSIGNED_INTEGER || parameter.data_type == OSSL_PARAM_INTEGER;
}

/// Strings and octets, as a copy or as a pointer to ours.
OSSL_PARAM* put_bytes(OSSL_PARAM* list, const char* name, View value, unsigned by_copy, unsigned by_pointer) {
    OSSL_PARAM* const parameter = find(list, name);
    if (parameter == nullptr) return nullptr;
    parameter->return_size = value.size();
    require(parameter->data_type == by_copy || parameter->data_type == by_pointer, Reason::bad_parameter);
    if (parameter->data == nullptr) return nullptr;
    if (parameter->data_type != by_copy) {
        *static_cast<const void**>(parameter->data) = value.data();
        return nullptr;
    }
    require(parameter->data_size >= value.size(), Reason::small_buffer);
    std::ranges::copy(value, static_cast<unsigned char*>(parameter->data));
    return parameter;
}

bool is_one_of(std::string_view value, std::initializer_list<std::string_view> names) noexcept {
    return std::ranges::any_of(names, [&](std::string_view name) {
        return name.size() == value.size() && strncasecmp(name.data(), value.data(), name.size()) == 0;
    });
}

}  // namespace

const OSSL_PARAM* find(const OSSL_PARAM* list, const char* name) noexcept { return find_in(list, name); }
OSSL_PARAM* find(OSSL_PARAM* list, const char* name) noexcept { return find_in(list, name); }

View octets_of(const OSSL_PARAM& parameter) {
    require(parameter.data_type == OSSL_PARAM_OCTET_STRING && (parameter.data != nullptr || parameter.data_size == 0),
            Reason::bad_parameter);
    return {static_cast<const unsigned char*>(parameter.data), parameter.data_size};
}

std::string_view text_of(const OSSL_PARAM& parameter) {
    require(parameter.data_type == OSSL_PARAM_UTF8_STRING && parameter.data != nullptr, Reason::bad_parameter);
    const auto* const value = static_cast<const char*>(parameter.data);
    // The size may or may not count a terminating zero.
    return {value, strnlen(value, parameter.data_size)};
}

void number_of(const OSSL_PARAM& parameter, std::span<unsigned char, 32> big_endian) {
    require(parameter.data_type == OSSL_PARAM_UNSIGNED_INTEGER && parameter.data != nullptr, Reason::bad_parameter);
    const View value(static_cast<const unsigned char*>(parameter.data), parameter.data_size);
    const std::size_t size = std::min(value.size(), big_endian.size());
    unsigned char excess = 0;
    for (const unsigned char byte : value.subspan(size)) excess |= byte;
    require(excess == 0, Reason::bad_parameter);
    std::ranges::fill(big_endian, 0);
    std::ranges::copy(value.first(size), big_endian.rbegin());
}

std::uint64_t count_of(const OSSL_PARAM& parameter) {
    std::uint64_t value = 0;
    require(is_number(parameter) && parameter.data != nullptr && parameter.data_size <= sizeof value,
            Reason::bad_parameter);
    std::memcpy(&value, parameter.data, parameter.data_size);
    return value;
}

void put_octets(OSSL_PARAM* list, const char* name, View value) {
    put_bytes(list, name, value, OSSL_PARAM_OCTET_STRING, OSSL_PARAM_OCTET_STRING);
}

void put_lasting_octets(OSSL_PARAM* list, const char* name, View value) {
    put_bytes(list, name, value, OSSL_PARAM_OCTET_STRING, OSSL_PARAM_OCTET_PTR);
}

void put_text(OSSL_PARAM* list, const char* name, std::string_view value) {
    OSSL_PARAM* const copied = put_bytes(list, name, value, OSSL_PARAM_UTF8_STRING, OSSL_PARAM_UTF8_PTR);
    if (copied != nullptr && copied->data_size > value.size()) static_cast<char*>(copied->data)[value.size()] = 0;
}

void put_number(OSSL_PARAM* list, const char* name, View big_endian) {
    OSSL_PARAM* const parameter = find(list, name);
    if (parameter == nullptr) return;
    require(is_number(*parameter), Reason::bad_parameter);
    parameter->return_size = big_endian.size();
    if (parameter->data == nullptr) return;
    // All bytes of the buffer are written, so that its size says nothing about a secret value.
    const std::span out(static_cast<unsigned char*>(parameter->data), parameter->data_size);
    const std::size_t size = std::min(out.size(), big_endian.size());
    unsigned excess = 0;
    for (const unsigned char byte : big_endian.first(big_endian.size() - size)) excess |= byte;
    if (parameter->data_type == OSSL_PARAM_INTEGER && size != 0 && size == out.size()) {
        excess |= big_endian[big_endian.size() - size] & 0x80U;  // there it is the sign
    }
    require(excess == 0, Reason::small_buffer);
    parameter->return_size = out.size();
    std::ranges::fill(out, 0);
    std::ranges::reverse_copy(big_endian.last(size), out.begin());
}

void put_count(OSSL_PARAM* list, const char* name, std::uint64_t value) {
    std::array<unsigned char, sizeof value> big_endian;
    for (unsigned char& byte : big_endian) {
        byte = static_cast<unsigned char>(value >> 56);
        value <<= 8;
    }
    put_number(list, name, big_endian);
}

bool names_sm3(std::string_view digest) noexcept { return is_one_of(digest, {"SM3", "1.2.156.10197.1.401"}); }
bool names_sm2(std::string_view group) noexcept { return is_one_of(group, {"SM2", "1.2.156.10197.1.301"}); }

}  // namespace ulmaro::provider
