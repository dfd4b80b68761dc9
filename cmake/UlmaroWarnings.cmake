# The warnings every target of this project is built with. Link ulmaro_warnings to get them.
add_library(ulmaro_warnings INTERFACE)
target_compile_options(ulmaro_warnings INTERFACE -Wall -Wextra -Wpedantic -Wconversion -Wshadow)
if(ULMARO_STRICT)
  target_compile_options(ulmaro_warnings INTERFACE -Werror)
endif()
