// The header's version, as numbers and as text, is the one the project is configured with.
#include <string_view>

#include "UlmaroAlgrithm.h"

#define TEXT_OF(number) #number
#define TEXT(number) TEXT_OF(number)

static_assert(std::string_view(ULMARO_ALGRITHM_VERSION) == PROJECT_VERSION);
static_assert(std::string_view(TEXT(ULMARO_ALGRITHM_VERSION_MAJOR) "." TEXT(ULMARO_ALGRITHM_VERSION_MINOR) "." TEXT(
                  ULMARO_ALGRITHM_VERSION_PATCH)) == PROJECT_VERSION);
