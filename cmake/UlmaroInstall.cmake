# What `cmake --install` places: libraries, headers, the Python module, the CMake package, the pkg-config files.
include(CMakePackageConfigHelpers)

set(package_dir ${CMAKE_INSTALL_LIBDIR}/cmake/UlmaroAlgrithm)

install(
  TARGETS ${ULMARO_LIBRARIES}
  EXPORT UlmaroAlgrithmTargets
  LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT runtime
  ARCHIVE DESTINATION ${CMAKE_INSTALL_LIBDIR} COMPONENT development)
install(FILES include/UlmaroAlgrithm.h include/UlmaroAlgrithm.hpp include/UlmaroAlgrithmFormats.hpp
              include/UlmaroAlgrithmInternals.hpp
        DESTINATION ${CMAKE_INSTALL_INCLUDEDIR} COMPONENT development)
set(ULMARO_PYTHON_DIR ${CMAKE_INSTALL_DATADIR}/UlmaroAlgrithm/python CACHE STRING "Where the Python module goes")
if(NOT ULMARO_STATIC)
  install(FILES bindings/python/ulmaro_algrithm.py DESTINATION ${ULMARO_PYTHON_DIR} COMPONENT python)
endif()
install(
  EXPORT UlmaroAlgrithmTargets
  NAMESPACE Ulmaro::
  DESTINATION ${package_dir}
  COMPONENT development)

configure_package_config_file(cmake/UlmaroAlgrithmConfig.cmake.in UlmaroAlgrithmConfig.cmake
                              INSTALL_DESTINATION ${package_dir})
write_basic_package_version_file(UlmaroAlgrithmConfigVersion.cmake COMPATIBILITY SameMajorVersion)
install(FILES ${CMAKE_CURRENT_BINARY_DIR}/UlmaroAlgrithmConfig.cmake
              ${CMAKE_CURRENT_BINARY_DIR}/UlmaroAlgrithmConfigVersion.cmake
        DESTINATION ${package_dir} COMPONENT development)

# One pkg-config file per library, relocatable: its paths are relative to its own location.
cmake_path(RELATIVE_PATH CMAKE_INSTALL_FULL_INCLUDEDIR BASE_DIRECTORY ${CMAKE_INSTALL_FULL_LIBDIR}/pkgconfig
           OUTPUT_VARIABLE pc_includedir)
foreach(library IN LISTS ULMARO_LIBRARIES)
  set(pc_name ${library})
  set(pc_define "")
  if(library MATCHES Hardened)
    set(pc_define " -DULMARO_HARDENED")
  endif()
  if(ULMARO_STATIC)
    get_target_property(pc_options ${library} INTERFACE_LINK_OPTIONS)
    set(pc_options " ${pc_options}")
    set(pc_private "Libs.private: -lstdc++")
  endif()
  configure_file(cmake/UlmaroAlgrithm.pc.in ${library}.pc @ONLY)
  install(FILES ${CMAKE_CURRENT_BINARY_DIR}/${library}.pc DESTINATION ${CMAKE_INSTALL_LIBDIR}/pkgconfig
          COMPONENT development)
endforeach()
