// OSSL_PARAM lists: OpenSSL's way to pass named values in both directions, read and written without its help.
#pragma once

#include <openssl/core.h>
#include <openssl/core_names.h>

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

#include "UlmaroAlgrithm.hpp"

namespace ulmaro::provider {

using algrithm::View;

/// The parameter of that name, or null.
const OSSL_PARAM* find(const OSSL_PARAM* list, const char* name) noexcept;
OSSL_PARAM* find(OSSL_PARAM* list, const char* name) noexcept;

/// The values of parameters. Each refuses one of another type or, for numbers, size.
View octets_of(const OSSL_PARAM& parameter);
std::string_view text_of(const OSSL_PARAM& parameter);
/// Below 2^64.
std::uint64_t count_of(const OSSL_PARAM& parameter);
/// A number of up to 256 bits, to big-endian bytes.
void number_of(const OSSL_PARAM& parameter, std::span<unsigned char, 32> big_endian);

/// Answers the parameter of that name, if the list asks for it; refuses one of another type or with too little room.
/// A parameter without a buffer asks for the size. Text, and octets that live on, are also given as a pointer to them.
void put_octets(OSSL_PARAM* list, const char* name, View value);
void put_lasting_octets(OSSL_PARAM* list, const char* name, View value);
void put_text(OSSL_PARAM* list, const char* name, std::string_view value);
void put_count(OSSL_PARAM* list, const char* name, std::uint64_t value);
void put_number(OSSL_PARAM* list, const char* name, View big_endian);

bool names_sm3(std::string_view digest) noexcept;
bool names_sm2(std::string_view group) noexcept;

/// Descriptions of parameters, for the lists of what can be asked for and set.
constexpr OSSL_PARAM described(const char* name, unsigned type) noexcept { return {name, type, nullptr, 0, 0}; }
constexpr OSSL_PARAM text(const char* name) noexcept { return described(name, OSSL_PARAM_UTF8_STRING); }
constexpr OSSL_PARAM text_pointer(const char* name) noexcept { return described(name, OSSL_PARAM_UTF8_PTR); }
constexpr OSSL_PARAM octets(const char* name) noexcept { return described(name, OSSL_PARAM_OCTET_STRING); }
constexpr OSSL_PARAM number(const char* name) noexcept { return described(name, OSSL_PARAM_UNSIGNED_INTEGER); }
constexpr OSSL_PARAM integer(const char* name) noexcept { return described(name, OSSL_PARAM_INTEGER); }
/// OSSL_PARAM_UNMODIFIED of <openssl/params.h>.
inline constexpr std::size_t unmodified = SIZE_MAX;
inline constexpr OSSL_PARAM end_of_list = {nullptr, 0, nullptr, 0, 0};

}  // namespace ulmaro::provider
