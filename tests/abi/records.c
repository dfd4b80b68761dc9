/* The record layouts, as compilers see them in every version of C and C++. For a static assertion, of which C89 has
   none, stands an array: its size is -1 where the assertion fails. */
#include "UlmaroAlgrithm.h"

#define ASSERT(name, condition) typedef char name[(condition) ? 1 : -1];
#define SIZE(record, bytes) ASSERT(size_of_##record, sizeof(record) == (bytes))
#define FLEXIBLE(record, field, offset) \
    ASSERT(offset_of_##record##_##field, __builtin_offsetof(record, field) == (offset))
#define FIELD(record, field, offset, bytes) \
    FLEXIBLE(record, field, offset)         \
    ASSERT(size_of_##record##_##field, sizeof(((record*)0)->field) == (bytes))

#include "records.def"

ASSERT(number, sizeof(ECC_PRIVATE_KEY) == ULMARO_SM2_NUMBER_BYTES)
ASSERT(head, sizeof(Ulmaro_ECC_CIPHER_BLOB) == ULMARO_SM2_CIPHER_HEAD_BYTES)
ASSERT(block, sizeof(((SM3_CTX*)0)->block) == ULMARO_SM3_BLOCK_BYTES)
ASSERT(digest, sizeof(((SM3_CTX*)0)->V) == ULMARO_SM3_DIGEST_BYTES)
ASSERT(registry, sizeof(g_p_256) == 32 && sizeof(g_a_256) == 32 && sizeof(g_b_256) == 32)
ASSERT(registry_base, sizeof(g_Gx_256) == 32 && sizeof(g_Gy_256) == 32 && sizeof(g_Gn_256) == 32)
