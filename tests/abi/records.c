/* The record layouts as a C99 compiler sees them. C99 has no static assertion; an array of size -1 is one. */
#include <stddef.h>

#include "UlmaroAlgrithm.h"

#define SIZE(record, bytes) typedef char size_of_##record[sizeof(record) == (bytes) ? 1 : -1];
#define FLEXIBLE(record, field, offset) \
    typedef char offset_of_##record##_##field[offsetof(record, field) == (offset) ? 1 : -1];
#define FIELD(record, field, offset, bytes) \
    FLEXIBLE(record, field, offset)         \
    typedef char size_of_##record##_##field[sizeof(((record*)0)->field) == (bytes) ? 1 : -1];

#include "records.def"
