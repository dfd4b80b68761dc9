# Whether sanitizers or coverage instrument the build, judging by the flags of this folder. -DULMARO_SANITIZED=ON or OFF
# overrides that. Of flags for some configurations only, those of CMAKE_BUILD_TYPE count.
if(NOT DEFINED ULMARO_SANITIZED)
  get_directory_property(given COMPILE_OPTIONS)
  list(APPEND given ${CMAKE_C_FLAGS} ${CMAKE_CXX_FLAGS} ${CMAKE_SHARED_LINKER_FLAGS})
  foreach(config IN LISTS CMAKE_BUILD_TYPE CMAKE_CONFIGURATION_TYPES)
    string(TOUPPER ${config} config)
    list(APPEND given ${CMAKE_CXX_FLAGS_${config}})
  endforeach()
  string(REGEX REPLACE "\\$<CONFIG:([^>]*,)?${CMAKE_BUILD_TYPE}(,[^>]*)?>" "1" given "${given}")
  string(REGEX REPLACE "\\$<CONFIG:[^>]*>" "0" given "${given}")
  string(REGEX REPLACE "\\$<0:[^>]*>" "" given "${given}")
  set(ULMARO_SANITIZED OFF)
  set(sanitizers "-fsanitize=[^ ;]*(address|thread|undefined|leak|memory|fuzzer)")
  set(coverage "--coverage|-fprofile-(arcs|generate|instr-generate)")
  if("${given}" MATCHES "${sanitizers}|${coverage}")
    set(ULMARO_SANITIZED ON)
  endif()
endif()

# Makes faults in shipped code harder to exploit: for everything that is installed, not for instrumented builds, whose
# sanitizers do it better.
add_library(ulmaro_hardening INTERFACE)
if(NOT ULMARO_SANITIZED)
  target_compile_options(
    ulmaro_hardening
    INTERFACE -fstack-protector-strong
              # Copies are checked only where the code is optimised.
              $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-U_FORTIFY_SOURCE>
              $<$<CONFIG:Release,RelWithDebInfo,MinSizeRel>:-D_FORTIFY_SOURCE=2>
              # The same tree in another folder gives the same bytes.
              -ffile-prefix-map=${PROJECT_SOURCE_DIR}=.
              -ffile-prefix-map=${PROJECT_BINARY_DIR}=.)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "x86_64|AMD64")
    target_compile_options(ulmaro_hardening INTERFACE -fcf-protection=full)
  elseif(CMAKE_SYSTEM_PROCESSOR MATCHES "aarch64|arm64")
    target_compile_options(ulmaro_hardening INTERFACE -mbranch-protection=standard)
  endif()
  target_link_options(ulmaro_hardening INTERFACE -Wl,-z,relro -Wl,-z,now -Wl,-z,noexecstack)
endif()
