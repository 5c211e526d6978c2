# ovix-hardening: what everything that is shipped is compiled and linked with, so that a fault is harder to
# make use of. Linked PRIVATE. Tests read it off the built files. (MinGW and MSVC set address
# randomisation and no-execute automatically, MSVC guards stacks.)
include(CheckCXXSourceCompiles)
include(CheckPIESupported)

add_library(ovix-hardening INTERFACE)
if(MSVC)
  target_compile_options(ovix-hardening INTERFACE /guard:cf)
  target_link_options(ovix-hardening INTERFACE /guard:cf)
elseif(MINGW)
  target_compile_options(ovix-hardening INTERFACE -fstack-protector-strong)
  # What the guards call is in the C library of newer MinGWs, else in the library's own file: GCC's library for
  # it is slow as a DLL loads.
  set(guarded "#include <cstdio>
    int main(int, char** arguments) { char text[64]; return std::sprintf(text, \"%s\", arguments[0]) + text[0]; }")
  set(CMAKE_REQUIRED_DEFINITIONS -fstack-protector-strong)
  check_cxx_source_compiles("${guarded}" OVIX_STACK_PROTECTOR_IN_C_LIBRARY)
  unset(CMAKE_REQUIRED_DEFINITIONS)
  if(NOT OVIX_STACK_PROTECTOR_IN_C_LIBRARY)
    add_library(ovix-stack-guard STATIC "${PROJECT_SOURCE_DIR}/library/src/stack_guard.cc")
    target_compile_features(ovix-stack-guard PRIVATE cxx_std_20)
    target_link_libraries(ovix-stack-guard PRIVATE ovix-warnings)
    target_link_libraries(ovix-hardening INTERFACE ovix-stack-guard)
  endif()
elseif(UNIX AND NOT APPLE AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  # Level 3 checks sizes that are known only as the program runs. A compiler or C library that does not know
  # it warns, or falls back.
  set(CMAKE_REQUIRED_DEFINITIONS -O2)
  check_cxx_source_compiles("
    #undef _FORTIFY_SOURCE
    #define _FORTIFY_SOURCE 3
    #include <cstring>
    #if __USE_FORTIFY_LEVEL < 3
    #error lower
    #endif
    int main() {}" OVIX_FORTIFY_SOURCE_3)
  unset(CMAKE_REQUIRED_DEFINITIONS)
  set(fortify_level 2)
  if(OVIX_FORTIFY_SOURCE_3)
    set(fortify_level 3)
  endif()
  target_compile_options(ovix-hardening INTERFACE
    -fstack-protector-strong
    $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},x86_64>:-fcf-protection>
    "$<$<CONFIG:Release,RelWithDebInfo>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=${fortify_level}>")
  target_link_options(ovix-hardening INTERFACE
    LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
  # Programs too can be loaded anywhere.
  check_pie_supported(LANGUAGES CXX)
  set_target_properties(ovix-hardening PROPERTIES INTERFACE_POSITION_INDEPENDENT_CODE ON)
endif()
