# Toolchain: Linux on 64-bit Arm, by Debian's cross compiler. What is linked is in the folder OVIX_ARM64_LIBRARIES of the
# environment (scripts/arm64-libraries).
set(CMAKE_SYSTEM_NAME Linux)
set(CMAKE_SYSTEM_PROCESSOR aarch64)
set(CMAKE_LIBRARY_ARCHITECTURE aarch64-linux-gnu)

set(CMAKE_C_COMPILER aarch64-linux-gnu-gcc)
set(CMAKE_CXX_COMPILER aarch64-linux-gnu-g++)

# CMake's checks of the compiler read this file again, without the environment.
if(NOT OVIX_ARM64_LIBRARIES)
  set(OVIX_ARM64_LIBRARIES "$ENV{OVIX_ARM64_LIBRARIES}")
endif()
list(APPEND CMAKE_TRY_COMPILE_PLATFORM_VARIABLES OVIX_ARM64_LIBRARIES)
if(NOT OVIX_ARM64_LIBRARIES OR NOT EXISTS "${OVIX_ARM64_LIBRARIES}/usr/include")
  message(FATAL_ERROR "OVIX_ARM64_LIBRARIES is '${OVIX_ARM64_LIBRARIES}', which has no usr/include; set it in the environment to the folder that scripts/arm64-libraries prints")
endif()
set(CMAKE_SYSROOT "${OVIX_ARM64_LIBRARIES}")

# Programs of the build run under qemu's user mode.
set(CMAKE_CROSSCOMPILING_EMULATOR qemu-aarch64 -L "${CMAKE_SYSROOT}")

# Libraries, headers and packages are that folder's, programs the host's.
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} "${CMAKE_SYSROOT}/usr/lib/aarch64-linux-gnu/pkgconfig:${CMAKE_SYSROOT}/usr/share/pkgconfig")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "${CMAKE_SYSROOT}")
