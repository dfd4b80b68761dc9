# What makes faults in shipped code harder to use: for everything that is installed, not for instrumented builds, whose
# sanitizers do the same better.
add_library(ulmaro_hardening INTERFACE)
if(NOT ULMARO_SANITIZED)
  target_compile_options(
    ulmaro_hardening
    INTERFACE -fstack-protector-strong
              $<$<NOT:$<CONFIG:Debug>>:-U_FORTIFY_SOURCE>
              $<$<NOT:$<CONFIG:Debug>>:-D_FORTIFY_SOURCE=2>
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
