# ovix-warnings: what our own code is compiled with. Linked PRIVATE, never exported; generated code
# is not compiled with it.
if(NOT TARGET ovix-warnings)
  add_library(ovix-warnings INTERFACE)
  target_compile_options(ovix-warnings INTERFACE
    $<$<CXX_COMPILER_ID:GNU,Clang,AppleClang>:-Wall -Wextra>
    # GCC 12 warns of std::string's own operator+ (its bug 105651).
    $<$<AND:$<CXX_COMPILER_ID:GNU>,$<VERSION_LESS:$<CXX_COMPILER_VERSION>,13>>:-Wno-restrict>
    $<$<CXX_COMPILER_ID:MSVC>:/W4>)
endif()
