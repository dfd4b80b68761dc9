# Debian packages, for scripts/package.sh: what a package contains besides the files of the install target, and CPack's
# settings. Before it runs cpack the script writes two files into packaging/ of the build tree that need the finished
# libraries: symbols, the runtime package's, and depends.cmake, the dependencies on other packages' libraries.
set(ULMARO_DEB_MAINTAINER "" CACHE STRING "Name <address> for the packages' control files")
set(ULMARO_DEB_ARCHITECTURE "" CACHE STRING "Debian's name of the architecture")
set(packaging ${CMAKE_CURRENT_SOURCE_DIR}/packaging)
set(made ${CMAKE_CURRENT_BINARY_DIR}/packaging)

# Two packages of one version are identical: dates come from SOURCE_DATE_EPOCH, and gzip stores none.
string(TIMESTAMP deb_date "%a, %d %b %Y %H:%M:%S +0000" UTC)
configure_file(packaging/changelog.Debian.in ${made}/changelog.Debian @ONLY)
configure_file(CHANGELOG.md ${made}/changelog COPYONLY)
foreach(file changelog changelog.Debian)
  execute_process(COMMAND gzip -9nf ${made}/${file} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

macro(ulmaro_deb component package section)
  string(TOUPPER ${component} _component)
  set(CPACK_DEBIAN_${_component}_PACKAGE_NAME ${package})
  set(CPACK_DEBIAN_${_component}_PACKAGE_SECTION ${section})
  cmake_parse_arguments(deb "" "MULTIARCH;DEPENDS;SUMMARY;DESCRIPTION" "" ${ARGN})
  # CPack knows the field since version 3.31; before that, it can be appended to the priority as another line.
  set(CPACK_DEBIAN_${_component}_PACKAGE_PRIORITY "optional\nMulti-Arch: ${deb_MULTIARCH}")
  set(CPACK_DEBIAN_${_component}_PACKAGE_DEPENDS "${deb_DEPENDS}")
  set(CPACK_COMPONENT_${_component}_DESCRIPTION "${deb_SUMMARY}\n${deb_DESCRIPTION}")
  install(FILES ${made}/changelog.gz ${made}/changelog.Debian.gz ${packaging}/copyright
          DESTINATION share/doc/${package} COMPONENT ${component})
  if(EXISTS ${packaging}/${package}.lintian-overrides)
    install(FILES ${packaging}/${package}.lintian-overrides DESTINATION share/lintian/overrides RENAME ${package}
            COMPONENT ${component})
  endif()
  list(APPEND CPACK_COMPONENTS_ALL ${component})
endmacro()

set(same_version "libulmaroalgrithm (= ${PROJECT_VERSION}-1)")
set(about "SM2 signatures, encryption and keys, the hash SM3 and the block cipher SM4,
the Chinese commercial cryptography algorithms, behind a flat C interface.\n")

set(CPACK_COMPONENTS_ALL)
ulmaro_deb(
  runtime libulmaroalgrithm libs
  MULTIARCH same
  DEPENDS ""
  SUMMARY "SM2, SM3 and SM4 behind a flat C interface - libraries"
  DESCRIPTION "${about}This package has the two libraries: libUlmaroAlgrithmHardened.so, whose keys
come from the kernel, and libUlmaroAlgrithm.so, whose random sequence is that
of the C library's rand.")
ulmaro_deb(
  development libulmaroalgrithm-dev libdevel
  MULTIARCH same
  DEPENDS "${same_version}"
  SUMMARY "SM2, SM3 and SM4 behind a flat C interface - development files"
  DESCRIPTION "${about}This package has the headers for C and C++, the CMake package, the pkg-config
files, manual pages and examples.")
ulmaro_deb(
  tool ulmaro utils
  MULTIARCH foreign
  DEPENDS "${same_version}"
  SUMMARY "SM2, SM3 and SM4 on the command line"
  DESCRIPTION "${about}This package has the tool: it makes and converts keys, signs, verifies,
encrypts, decrypts and hashes, and reads and writes PEM and DER.")
ulmaro_deb(
  provider ulmaro-openssl-provider libs
  MULTIARCH same
  DEPENDS "libssl3 | libssl4"
  SUMMARY "SM2, SM3 and SM4 for programs that use OpenSSL 3"
  DESCRIPTION "${about}This package has a provider for OpenSSL 3. It is not active until a
configuration names it, such as the one that comes with it.")
if(NOT CMAKE_CROSSCOMPILING) # the same for every architecture: made once
  ulmaro_deb(
    python python3-ulmaro-algrithm python
    MULTIARCH no
    DEPENDS "python3, libulmaroalgrithm (>= ${PROJECT_VERSION})"
    SUMMARY "SM2, SM3 and SM4 for Python"
    DESCRIPTION "${about}This package has the Python module ulmaro_algrithm, on top of ctypes.")
  set(CPACK_DEBIAN_PYTHON_PACKAGE_ARCHITECTURE all)
  set(CPACK_DEBIAN_PYTHON_PACKAGE_CONTROL_EXTRA ${packaging}/prerm)
endif()

install(FILES docs/cookbook.md docs/formats.md docs/moving.md docs/overview.md docs/security.md
              docs/design.md docs/proofs.md docs/provider.md # to which these point
        DESTINATION share/doc/libulmaroalgrithm-dev/docs COMPONENT development)
file(CREATE_LINK ../../../../include/UlmaroAlgrithm.h ${made}/UlmaroAlgrithm.h SYMBOLIC)
install(FILES ${made}/UlmaroAlgrithm.h DESTINATION share/doc/libulmaroalgrithm-dev/include COMPONENT development)
# The tool has code of CLI11's headers in it, whose licence asks for its text in what is built from them.
install(FILES /usr/share/doc/libcli11-dev/copyright DESTINATION share/doc/ulmaro RENAME copyright.cli11
        COMPONENT tool)
install(
  DIRECTORY examples/
  DESTINATION share/doc/libulmaroalgrithm-dev/examples
  COMPONENT development
  FILES_MATCHING
  PATTERN "*.c"
  PATTERN "*.cpp")
foreach(component development tool)
  install(CODE "execute_process(COMMAND gzip -9nr \$ENV{DESTDIR}\${CMAKE_INSTALL_PREFIX}/${CMAKE_INSTALL_MANDIR}
                                COMMAND_ERROR_IS_FATAL ANY)"
          COMPONENT ${component})
endforeach()

set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME libulmaroalgrithm)
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "") # each package has its own
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEBIAN_COMPRESSION_TYPE xz)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER "${ULMARO_DEB_MAINTAINER}")
set(CPACK_DEBIAN_PACKAGE_SOURCE ulmaroalgrithm)
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_CONTROL_STRICT_PERMISSION ON)
set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE ${ULMARO_DEB_ARCHITECTURE})
set(CPACK_DEBIAN_RUNTIME_PACKAGE_CONTROL_EXTRA "${packaging}/triggers;${made}/symbols")
set(CPACK_PROJECT_CONFIG_FILE ${made}/depends.cmake)
set(CPACK_PACKAGE_DIRECTORY ${CMAKE_CURRENT_SOURCE_DIR}/build/packages)
include(CPack)
