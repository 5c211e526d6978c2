#!/usr/bin/env bash
# Where the compiler's runtime DLLs and licences lie elsewhere than on Debian, the build is configured all the same;
# packing stops before it writes anything, with a line for each that names the option.
# Usage: packages_configured_windows_test.sh SOURCE_DIR CMAKE GENERATOR BUILD_DIR
set -euo pipefail
root=$1 cmake=$2 generator=$3 build=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "packages_configured_windows_test: $*" >&2
  cat "$work/log" >&2
  exit 1
}

cached() { sed -n "s/^$1:[^=]*=//p" "$build/CMakeCache.txt"; }
"$cmake" -G "$generator" -S "$root" -B "$work/build" "-DCMAKE_TOOLCHAIN_FILE=$root/cmake/mingw-w64.cmake" \
  "-DProtobuf_DIR=$(cached Protobuf_DIR)" "-DCLI11_DIR=$(cached CLI11_DIR)" \
  "-DRapidJSON_DIR=$(cached RapidJSON_DIR)" -DOVIX_BUILD_EXAMPLES=OFF -DOVIX_BUILD_TESTS=OFF \
  -DOVIX_GCC_LICENSE=/nowhere/gcc -DOVIX_MINGW_LICENSE=/nowhere/mingw -DOVIX_COMPILER_RUNTIME_DIR=/nowhere \
  >"$work/log" 2>&1 || fail "without what only the zip needs, configuring failed"
(cd "$work/build" && ! "$(dirname "$cmake")/cpack" >"$work/log" 2>&1) || fail "cpack packed a zip that is not whole"
! compgen -G "$work/build/*.zip*" || fail "cpack wrote the files above"
for line in \
  '^ *libstdc++-6\.dll was not found for the zip; set OVIX_COMPILER_RUNTIME_DIR to ' \
  '^ *libgcc_s_seh-1\.dll was not found for the zip; set OVIX_COMPILER_RUNTIME_DIR to ' \
  '^ *libwinpthread-1\.dll was not found for the zip; set OVIX_COMPILER_RUNTIME_DIR to ' \
  '^ */nowhere/gcc, .* was not found; set OVIX_GCC_LICENSE to .* and run cmake again$' \
  '^ */nowhere/mingw, .* was not found; set OVIX_MINGW_LICENSE to .* and run cmake again$'; do
  grep -q "$line" "$work/log" || fail "cpack did not say $line"
done
echo "packages_configured_windows_test: passed"
