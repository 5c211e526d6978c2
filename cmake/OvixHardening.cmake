# ovix-hardening: what everything that is shipped is compiled and linked with, so that a fault is harder to
# make use of. Linked PRIVATE. A test reads it off the built files. (MinGW and MSVC set address
# randomisation and no-execute by themselves.)
add_library(ovix-hardening INTERFACE)
if(UNIX AND NOT APPLE AND NOT CMAKE_CXX_FLAGS MATCHES "-fsanitize")
  target_compile_options(ovix-hardening INTERFACE
    -fstack-protector-strong
    $<$<STREQUAL:${CMAKE_SYSTEM_PROCESSOR},x86_64>:-fcf-protection>
    "$<$<CONFIG:Release,RelWithDebInfo>:-U_FORTIFY_SOURCE;-D_FORTIFY_SOURCE=2>")
  target_link_options(ovix-hardening INTERFACE
    LINKER:-z,relro LINKER:-z,now LINKER:-z,noexecstack)
endif()
