# fw_hardening: what a released program is built with against faults in its own memory. Every target gets it
# through fw_options; tests/hardening_test.sh reads it back from the finished program. On macOS the linker makes
# programs position-independent and their tables read-only by itself, and the hardened runtime is switched on
# by the signature.
#
# Builds with sanitizers and builds that are not optimised go without: the sanitizers see more than these
# checks do, and _FORTIFY_SOURCE needs the optimiser.
add_library(fw_hardening INTERFACE)
if(FW_SANITIZE)
  return()
endif()

include(CheckCXXCompilerFlag)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)
check_pie_supported(LANGUAGES CXX) # makes CMAKE_POSITION_INDEPENDENT_CODE reach the linker

# A flag that a compiler takes and then warns of as unused is one that it does not have.
set(CMAKE_REQUIRED_FLAGS -Werror)
foreach(flag -fstack-protector-strong -fstack-clash-protection -fcf-protection)
  string(MAKE_C_IDENTIFIER "FW_HAS${flag}" known)
  check_cxx_compiler_flag(${flag} ${known})
  if(${known})
    target_compile_options(fw_hardening INTERFACE ${flag})
  endif()
endforeach()

# Level 3 also checks sizes that are known only at run time. A C library that lacks it warns.
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
