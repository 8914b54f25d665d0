# fw_hardening: the flags that protect a released program against memory errors. Every target gets them through
# fw_options; tests/hardening_test.sh checks the finished program for them. On macOS the linker already makes
# programs position-independent and their tables read-only, and the signature turns on the hardened runtime.
#
# Builds with sanitizers do without: a sanitizer finds more than these checks. _FORTIFY_SOURCE needs the
# optimiser, so Debug builds do without that.
add_library(fw_hardening INTERFACE)
if(FW_SANITIZE)
  return()
endif()

include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX) # makes CMAKE_POSITION_INDEPENDENT_CODE reach the linker

# A compiler that accepts a flag but warns that it is unused does not support it.
set(CMAKE_REQUIRED_FLAGS -Werror)
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "FW_HAS${flag}" known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    target_compile_options(fw_hardening INTERFACE ${flag})
  endif()
endforeach()

# Level 3 also checks sizes that are known only at run time. A C library without it warns.
set(CMAKE_REQUIRED_FLAGS "-O2 -Werror -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
check_cxx_source_compiles("#include <cstdio>\nint main() { return std::puts(\"\"); }" FW_HAS_FORTIFY_3)
unset(CMAKE_REQUIRED_FLAGS)
set(level 2)
if(FW_HAS_FORTIFY_3)
  set(level 3)
endif()
set(optimised $<NOT:$<CONFIG:Debug>>)
target_compile_options(fw_hardening INTERFACE
  $<${optimised}:-U_FORTIFY_SOURCE> $<${optimised}:-D_FORTIFY_SOURCE=${level}>)

if(CMAKE_SYSTEM_NAME STREQUAL Linux)
  target_link_options(fw_hardening INTERFACE LINKER:-z,relro,-z,now)
endif()
