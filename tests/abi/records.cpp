// The record layouts as a C++17 compiler sees them; and that the header's version, as numbers and as text, is the one
// the project is configured with.
#include <cstddef>
#include <string_view>
#include <type_traits>

#include "UlmaroAlgrithm.h"
#include "UlmaroAlgrithmInternals.hpp"

#define SIZE(record, bytes)                           \
    static_assert(sizeof(record) == (bytes));         \
    static_assert(std::is_standard_layout_v<record>); \
    static_assert(std::is_trivial_v<record>);
#define FLEXIBLE(record, field, offset) static_assert(offsetof(record, field) == (offset));
#define FIELD(record, field, offset, bytes) \
    FLEXIBLE(record, field, offset)         \
    static_assert(sizeof(record::field) == (bytes));

#include "records.def"

static_assert(sizeof(ECC_PRIVATE_KEY) == ULMARO_SM2_NUMBER_BYTES);
static_assert(sizeof(Ulmaro_ECC_CIPHER_BLOB) == ULMARO_SM2_CIPHER_HEAD_BYTES);
static_assert(sizeof(SM3_CTX::block) == ULMARO_SM3_BLOCK_BYTES && sizeof(SM3_CTX::V) == ULMARO_SM3_DIGEST_BYTES);
static_assert(sizeof(g_p_256) == 32 && sizeof(g_a_256) == 32 && sizeof(g_b_256) == 32);
static_assert(sizeof(g_Gx_256) == 32 && sizeof(g_Gy_256) == 32 && sizeof(g_Gn_256) == 32);
static_assert(std::is_same_v<decltype(group), ec_group_st>);

#define TEXT_OF(number) #number
#define TEXT(number) TEXT_OF(number)

static_assert(std::string_view(ULMARO_ALGRITHM_VERSION) == PROJECT_VERSION);
static_assert(std::string_view(TEXT(ULMARO_ALGRITHM_VERSION_MAJOR) "." TEXT(ULMARO_ALGRITHM_VERSION_MINOR) "." TEXT(
                  ULMARO_ALGRITHM_VERSION_PATCH)) == PROJECT_VERSION);
