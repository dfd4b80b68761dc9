# Finds what the parts around the library need. In a strict build a missing package is an error; in a plain build
# the part that needs it is left out, with a line that says so.
macro(ulmaro_require switch package)
  if(${switch})
    find_package(${package} ${ARGN} QUIET)
    if(NOT ${package}_FOUND)
      if(ULMARO_STRICT)
        message(FATAL_ERROR "${switch} needs ${package}")
      endif()
      message(STATUS "${switch}: left out, ${package} was not found")
      set(${switch} OFF)
    endif()
  endif()
endmacro()

ulmaro_require(ULMARO_BUILD_TOOL CLI11)
ulmaro_require(ULMARO_BUILD_TOOL MbedCrypto)
if(CMAKE_CROSSCOMPILING)
  set(OPENSSL_USE_STATIC_LIBS ON) # the emulator looks for shared libraries elsewhere
endif()
ulmaro_require(ULMARO_BUILD_TESTS GTest)
foreach(switch ULMARO_BUILD_TESTS ULMARO_BUILD_FUZZERS)
  ulmaro_require(${switch} GMPXX)
  ulmaro_require(${switch} OpenSSL)
endforeach()
if(CMAKE_CROSSCOMPILING AND TARGET OpenSSL::Crypto)
  # Some of its headers are specific to the architecture.
  set_property(TARGET OpenSSL::Crypto APPEND PROPERTY INTERFACE_INCLUDE_DIRECTORIES
                                                      ${OPENSSL_INCLUDE_DIR}/${CMAKE_LIBRARY_ARCHITECTURE})
endif()
ulmaro_require(ULMARO_BUILD_FUZZERS MbedCrypto)
if(NOT CMAKE_CROSSCOMPILING)
  ulmaro_require(ULMARO_BUILD_BENCH benchmark)
endif()
