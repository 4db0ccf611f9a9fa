# How every program is hardened, whatever its build type.  tests/hardening reads the built programs and knows each of these.
#
# Builds with sanitizers and fuzz targets keep their own checks of memory: they take none of this but the warnings.
include(CheckCXXSourceCompiles)

# A plain "cmake -B somewhere" is meant for users, so it is optimised.
if(NOT CMAKE_BUILD_TYPE)
  set(CMAKE_BUILD_TYPE Release CACHE STRING "Debug, Release, RelWithDebInfo" FORCE)
endif()

add_library(tonalith_hardening INTERFACE)
target_compile_options(tonalith_hardening INTERFACE -Wformat=2 -Wformat-security)

# Nothing is searched for beside the programs, in the build tree either.
set(CMAKE_SKIP_RPATH ON)

if(NOT TONALITH_SANITIZE AND NOT TONALITH_FUZZ)
  # -fPIC, which Qt asks its users for, comes behind and wins there.
  target_compile_options(tonalith_hardening INTERFACE -fPIE -fstack-protector-strong -fstack-clash-protection)
  if(CMAKE_SYSTEM_PROCESSOR MATCHES "^(x86_64|AMD64|i.86)$")
    target_compile_options(tonalith_hardening INTERFACE -fcf-protection=full)
  endif()
  target_compile_definitions(tonalith_hardening INTERFACE _GLIBCXX_ASSERTIONS)
  target_link_options(tonalith_hardening INTERFACE -pie LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)

  # The checked functions of the C library exist in optimised code only; level 3 needs compiler and library.
  if(CMAKE_BUILD_TYPE MATCHES "^(Debug|Release|RelWithDebInfo|MinSizeRel)$")
    set(CMAKE_REQUIRED_FLAGS "-O2 -U_FORTIFY_SOURCE -D_FORTIFY_SOURCE=3")
    check_cxx_source_compiles("#include <string.h>
      #if !defined(__USE_FORTIFY_LEVEL) || __USE_FORTIFY_LEVEL < 3
      #error
      #endif
      int main() { return 0; }" TONALITH_FORTIFY_3)
    unset(CMAKE_REQUIRED_FLAGS)
    target_compile_options(tonalith_hardening INTERFACE -U_FORTIFY_SOURCE
                           -D_FORTIFY_SOURCE=$<IF:$<BOOL:${TONALITH_FORTIFY_3}>,3,2>)
  endif()
endif()
