# OpenSSL's headers from version 3.0 on, without its libraries. Some of them are specific to the architecture.
find_path(OpenSSLHeaders_INCLUDE_DIR openssl/core_dispatch.h)
find_path(OpenSSLHeaders_CONFIGURATION_DIR openssl/configuration.h
          HINTS ${OpenSSLHeaders_INCLUDE_DIR}/${CMAKE_LIBRARY_ARCHITECTURE})
mark_as_advanced(OpenSSLHeaders_INCLUDE_DIR OpenSSLHeaders_CONFIGURATION_DIR)

include(FindPackageHandleStandardArgs)
find_package_handle_standard_args(OpenSSLHeaders REQUIRED_VARS OpenSSLHeaders_INCLUDE_DIR
                                                               OpenSSLHeaders_CONFIGURATION_DIR)
set(OpenSSLHeaders_INCLUDE_DIRS ${OpenSSLHeaders_INCLUDE_DIR} ${OpenSSLHeaders_CONFIGURATION_DIR})
