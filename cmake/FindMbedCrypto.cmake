# Finds the cryptographic part of Mbed TLS (2.28 or later): target MbedCrypto::MbedCrypto.
find_path(MbedCrypto_INCLUDE_DIR mbedtls/asn1write.h)
find_library(MbedCrypto_LIBRARY mbedcrypto)
mark_as_advanced(MbedCrypto_INCLUDE_DIR MbedCrypto_LIBRARY)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(MbedCrypto REQUIRED_VARS MbedCrypto_LIBRARY MbedCrypto_INCLUDE_DIR)

if(MbedCrypto_FOUND AND NOT TARGET MbedCrypto::MbedCrypto)
  add_library(MbedCrypto::MbedCrypto UNKNOWN IMPORTED)
  set_target_properties(
    MbedCrypto::MbedCrypto PROPERTIES IMPORTED_LOCATION "${MbedCrypto_LIBRARY}"
                                      INTERFACE_INCLUDE_DIRECTORIES "${MbedCrypto_INCLUDE_DIR}")
endif()
