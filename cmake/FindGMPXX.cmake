# Finds GMP with its C++ classes: target GMP::GMPXX. Archives come first, because they also serve under an emulator.
find_path(GMP_INCLUDE_DIR gmp.h)
find_path(GMPXX_INCLUDE_DIR gmpxx.h)
find_library(GMP_LIBRARY NAMES libgmp.a gmp)
find_library(GMPXX_LIBRARY NAMES libgmpxx.a gmpxx)
mark_as_advanced(GMP_INCLUDE_DIR GMPXX_INCLUDE_DIR GMP_LIBRARY GMPXX_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(GMPXX REQUIRED_VARS GMPXX_LIBRARY GMP_LIBRARY GMPXX_INCLUDE_DIR GMP_INCLUDE_DIR)

if(GMPXX_FOUND AND NOT TARGET GMP::GMPXX)
  add_library(GMP::GMPXX INTERFACE IMPORTED)
  target_link_libraries(GMP::GMPXX INTERFACE ${GMPXX_LIBRARY} ${GMP_LIBRARY})
  target_include_directories(GMP::GMPXX INTERFACE ${GMPXX_INCLUDE_DIR} ${GMP_INCLUDE_DIR})
endif()
