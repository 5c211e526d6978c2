#!/usr/bin/env bash
# The build as others use it: what a user may give it and is served, and what is refused, each in one line that names
# the option or the file and the fix. Nothing is compiled but what a case needs.
# Usage: configure_test.sh SOURCE_DIR CMAKE GENERATOR CXX
set -uo pipefail
source=$1 cmake=$2 generator=$3 cxx=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
failed=0
part=(-DOVIX_BUILD_TESTS=OFF -DOVIX_BUILD_EXAMPLES=OFF -DOVIX_BUILD_TOOL=OFF)

fail() {
  echo "configure_test: $*" >&2
  failed=1
}
configure() { # NAME ARGUMENT...: into $work/NAME, the log in $work/log
  local name=$1
  shift
  "$cmake" -G "$generator" -B "$work/$name" -DCMAKE_CXX_COMPILER="$cxx" "$@" >"$work/log" 2>&1
}
expect_ok() { # NAME ARGUMENT...
  configure "$@" || { tail -20 "$work/log" >&2; fail "$1: was refused"; }
}
# The log without its line breaks: CMake breaks lines.
said() { tr -s ' \n' ' ' <"$work/log" | grep -qF -- "$1"; }
expect_refusal() { # NAME TEXT ARGUMENT...
  local name=$1 text=$2
  shift 2
  if configure "$name" "$@"; then
    fail "$name: was not refused"
  elif ! said "$text" || [ "$(grep -c '^CMake Error' "$work/log")" != 1 ]; then
    tail -20 "$work/log" >&2
    fail "$name: was not refused by one error that says '$text'"
  fi
}

# A package of protobuf as CMake installs one, of the system's library.
protoc=$(command -v protoc)
package() { # FOLDER CONFIGURATION PROTOC
  mkdir -p "$work/$1"
  cat >"$work/$1/protobuf-config-version.cmake" <<END
set(PACKAGE_VERSION 3.21.12)
END
  cat >"$work/$1/protobuf-config.cmake" <<END
add_library(protobuf::libprotobuf SHARED IMPORTED)
set_target_properties(protobuf::libprotobuf PROPERTIES INTERFACE_INCLUDE_DIRECTORIES "$imports"
  IMPORTED_CONFIGURATIONS $2 IMPORTED_LOCATION_$2 "$(find /usr/lib /usr/lib64 -name libprotobuf.so | head -1)")
add_executable(protobuf::protoc IMPORTED)
set_target_properties(protobuf::protoc PROPERTIES IMPORTED_CONFIGURATIONS $2 IMPORTED_LOCATION_$2 "$3")
END
}

# --- Served.

# Without a build type: optimised, and said. Without the tool and the examples: the tests that are possible.
expect_ok plain -S "$source" -DOVIX_BUILD_TOOL=OFF -DOVIX_BUILD_EXAMPLES=OFF
grep -q '^CMAKE_BUILD_TYPE:[A-Z]*=Release$' "$work/plain/CMakeCache.txt" || fail "plain: the build type is not Release"
said "CMAKE_BUILD_TYPE was not given: it is Release" || fail "plain: the default build type is not said"
said "OVIX_BUILD_TOOL is OFF" || fail "plain: it is not said that tests are left out"
imports=$(sed -n 's/^Protobuf_INCLUDE_DIR:[A-Z]*=//p' "$work/plain/CMakeCache.txt")
expect_ok examples-alone -S "$source" -DOVIX_BUILD_TOOL=OFF
expect_ok tool-alone -S "$source" -DOVIX_BUILD_EXAMPLES=OFF
expect_ok debug -S "$source" "${part[@]}" -DCMAKE_BUILD_TYPE=Debug
grep -q '^CMAKE_BUILD_TYPE:[A-Z]*=Debug$' "$work/debug/CMakeCache.txt" || fail "debug: the build type is not Debug"

# Files of generated code cannot be compiled as one, nor the tool's.
expect_ok unity -S "$source" -DOVIX_BUILD_TESTS=OFF -DCMAKE_UNITY_BUILD=ON
[ -z "$(find "$work/unity" -name 'unity_*')" ] || fail "unity: files are compiled as one"

# Folders of installation given whole, as some systems do.
expect_ok folders -S "$source" "${part[@]}" -DCMAKE_INSTALL_PREFIX=/opt/ovix -DCMAKE_INSTALL_LIBDIR=/opt/ovix/lib64 \
  -DCMAKE_INSTALL_INCLUDEDIR=/opt/headers -DCMAKE_INSTALL_DATADIR=/opt/data
while read -r variable value; do
  actual=$(PKG_CONFIG_PATH="$work/folders/library" pkg-config --variable="$variable" ovix-telemetry-data-contracts)
  [ "$actual" = "$value" ] || fail "absolute folders: pkg-config's $variable is '$actual', not '$value'"
done <<'END'
prefix /opt/ovix
libdir /opt/ovix/lib64
includedir /opt/headers
descriptor_set /opt/data/ovix-telemetry-data-contracts/contracts.binpb
END

# protobuf installed in whatever configuration: its compiler and its schemas are found and used.
for configuration in NOCONFIG RELEASE DEBUG; do
  package "protobuf-$configuration" $configuration "$protoc"
  expect_ok "with-$configuration" -S "$source" "${part[@]}" -DProtobuf_DIR="$work/protobuf-$configuration"
  "$cmake" --build "$work/with-$configuration" --target ovix-descriptor-set >"$work/log" 2>&1 ||
    { tail "$work/log" >&2; fail "protobuf $configuration: its protoc was not used"; }
done

# protobuf as a part of the same build: its targets are not installed ones, and protoc is still to be built.
mkdir -p "$work/parent/protobuf"
cat >"$work/parent/CMakeLists.txt" <<END
cmake_minimum_required(VERSION 3.25)
project(parent LANGUAGES CXX)
add_subdirectory(protobuf)
add_subdirectory("$source" ovix)
END
cat >"$work/parent/protobuf/CMakeLists.txt" <<END
add_library(libprotobuf SHARED runtime.cc)
target_include_directories(libprotobuf PUBLIC "\$<BUILD_INTERFACE:$work/parent/protobuf/src>")
add_executable(protoc compiler.cc)
add_library(protobuf::libprotobuf ALIAS libprotobuf)
add_executable(protobuf::protoc ALIAS protoc)
END
mkdir -p "$work/parent/protobuf/src/google"
ln -s "$imports/google/protobuf" "$work/parent/protobuf/src/google/protobuf"
echo 'int runtime() { return 0; }' >"$work/parent/protobuf/runtime.cc"
cat >"$work/parent/protobuf/compiler.cc" <<END
#include <unistd.h>
int main(int, char** arguments) { return execv("$protoc", arguments); }
END
expect_ok in-tree -S "$work/parent"
"$cmake" --build "$work/in-tree" --target ovix-descriptor-set >"$work/log" 2>&1 ||
  { tail "$work/log" >&2; fail "in-tree protobuf: its protoc was not built and used"; }
[ -x "$work/in-tree/protobuf/protoc" ] || fail "in-tree protobuf: its protoc was not built"

# --- Refused.

mkdir -p "$work/newer/google/protobuf/stubs"
touch "$work/newer/google/protobuf/descriptor.proto"
echo '#define GOOGLE_PROTOBUF_VERSION 4025000' >"$work/newer/google/protobuf/stubs/common.h"
expect_refusal newer-protobuf "protobuf 4.25.0 was found, but ovix-telemetry-data-contracts needs the 3.21 series; point Protobuf_DIR" \
  -S "$source" "${part[@]}" -DProtobuf_INCLUDE_DIR="$work/newer"
sed -i "s|$work/parent/protobuf/src|$work/newer|" "$work/parent/protobuf/CMakeLists.txt"
expect_refusal newer-protobuf-in-tree "protobuf 4.25.0 was found" -S "$work/parent"
expect_refusal no-protobuf "protobuf 3.21 was not found; install it" \
  -S "$source" "${part[@]}" -DCMAKE_DISABLE_FIND_PACKAGE_Protobuf=ON
printf '#!/bin/sh\necho libprotoc 3.25.1\n' >"$work/other-protoc"
chmod +x "$work/other-protoc"
expect_refusal newer-protoc "is 'libprotoc 3.25.1', but the library needs protoc 3.21; set Protobuf_PROTOC_EXECUTABLE" \
  -S "$source" "${part[@]}" -DProtobuf_PROTOC_EXECUTABLE="$work/other-protoc"
expect_refusal missing-protoc "$work/absent does not run" \
  -S "$source" "${part[@]}" -DProtobuf_PROTOC_EXECUTABLE="$work/absent"
package no-schemas RELEASE "$protoc"
mkdir "$work/no-schemas/include"
sed -i "s|INTERFACE_INCLUDE_DIRECTORIES \"[^\"]*\"|INTERFACE_INCLUDE_DIRECTORIES $work/no-schemas/include|" \
  "$work/no-schemas/protobuf-config.cmake"
expect_refusal no-schemas "google/protobuf/descriptor.proto was not found" \
  -S "$source" "${part[@]}" -DProtobuf_DIR="$work/no-schemas"
expect_refusal no-googletest "GoogleTest 1.12 was not found; install it" \
  -S "$source" -DOVIX_BUILD_TOOL=OFF -DOVIX_BUILD_EXAMPLES=OFF -DCMAKE_DISABLE_FIND_PACKAGE_GTest=ON
for library in CLI11 RapidJSON SQLite3 OpenSSL ZLIB; do
  expect_refusal "no-$library" "was not found; install it (Debian: apt-get install" \
    -S "$source" -DOVIX_BUILD_TESTS=OFF "-DCMAKE_DISABLE_FIND_PACKAGE_$library=ON"
done
package no-importer RELEASE "$protoc"
mkdir -p "$work/no-importer/include/google/protobuf"
touch "$work/no-importer/include/google/protobuf/descriptor.proto"
sed -i "s|INTERFACE_INCLUDE_DIRECTORIES \"[^\"]*\"|INTERFACE_INCLUDE_DIRECTORIES $work/no-importer/include|" \
  "$work/no-importer/protobuf-config.cmake"
expect_refusal no-importer "google/protobuf/compiler/importer.h was not found next to protobuf's other headers; install it" \
  -S "$source" -DOVIX_BUILD_TESTS=OFF -DOVIX_BUILD_EXAMPLES=OFF -DProtobuf_DIR="$work/no-importer"
expect_refusal fuzzers-by-gcc "the fuzzers need clang and -fsanitize=fuzzer-no-link; configure with --preset asan" \
  -S "$source" "${part[@]}" -DCMAKE_CXX_COMPILER=g++ -DOVIX_BUILD_FUZZERS=ON
expect_refusal fuzzers-alone "the fuzzers need the example agent and the tool; set OVIX_BUILD_EXAMPLES=ON and OVIX_BUILD_TOOL=ON" \
  -S "$source" "${part[@]}" -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_CXX_FLAGS=-fsanitize=fuzzer-no-link -DOVIX_BUILD_FUZZERS=ON
expect_refusal benchmarks-alone "the measurements need the example agent; set OVIX_BUILD_EXAMPLES=ON" \
  -S "$source" "${part[@]}" -DOVIX_BUILD_BENCHMARKS=ON
expect_refusal no-protobuf-for-another-system "protobuf 3.21 for Linux on riscv64 was not found; set Protobuf_DIR, or CMAKE_SYSROOT to the system that has it" \
  -S "$source" "${part[@]}" -DCMAKE_SYSTEM_NAME=Linux -DCMAKE_SYSTEM_PROCESSOR=riscv64 -DCMAKE_DISABLE_FIND_PACKAGE_Protobuf=ON
# In a toolchain file: CMake adds an error of its own.
for folder in "" "$work/absent"; do
  if OVIX_ARM64_LIBRARIES=$folder configure arm64 -S "$source" -UCMAKE_CXX_COMPILER -DCMAKE_TOOLCHAIN_FILE="$source/cmake/aarch64-linux-gnu.cmake" ||
    ! said "OVIX_ARM64_LIBRARIES is '$folder', which has no usr/include; set it in the environment to the folder that scripts/arm64-libraries prints"; then
    tail -20 "$work/log" >&2
    fail "arm64: the folder '$folder' was not refused"
  fi
  rm -rf "$work/arm64"
done
# The linker's options are separated by commas.
for character in '#' '$' '&' "'" ','; do
  expect_refusal "build$character" "has one of the characters # \$ &" -S "$source" "${part[@]}"
done

[ $failed = 0 ] && echo "configure_test: passed"
exit $failed
