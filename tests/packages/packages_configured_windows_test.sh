#!/usr/bin/env bash
# Where the compiler's runtime DLLs and licences lie elsewhere than on Debian, the build is configured all the same;
# packing stops before it writes anything, with a line for each that names the option. The list of contents is written
# in whatever folder.
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
configure() { # FOLDER OPTION...
  local folder=$1
  shift
  "$cmake" -G "$generator" -S "$root" -B "$folder" "-DCMAKE_TOOLCHAIN_FILE=$root/cmake/mingw-w64.cmake" \
    "-DProtobuf_DIR=$(cached Protobuf_DIR)" "-DCLI11_DIR=$(cached CLI11_DIR)" \
    "-DRapidJSON_DIR=$(cached RapidJSON_DIR)" -DOVIX_BUILD_EXAMPLES=OFF -DOVIX_BUILD_TESTS=OFF \
    "$@" >"$work/log" 2>&1
}
configure "$work/build" -DOVIX_GCC_LICENSE=/nowhere/gcc -DOVIX_MINGW_LICENSE=/nowhere/mingw \
  -DOVIX_COMPILER_RUNTIME_DIR=/nowhere || fail "without what only the zip needs, configuring failed"
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

"$cmake" -G "$generator" -S "$root" -B "$work/without" "-DCMAKE_TOOLCHAIN_FILE=$root/cmake/mingw-w64.cmake" \
  -DOVIX_BUILD_TESTS=OFF >"$work/log" 2>&1 && fail "without protobuf for Windows the build is configured"
tr -s ' \n' ' ' <"$work/log" | grep -q 'set Protobuf_DIR to lib/cmake/protobuf in the folder that it prints' ||
  fail "it is not said how protobuf for Windows is found"

folder="$work/job@2 ü (x)"
configure "$folder" || fail "in '$folder' configuring failed"
"$cmake" --build "$folder" --target ovix-sbom-runtime >"$work/log" 2>&1 || fail "in '$folder' the list of contents was not written"
python3 -c 'import json, sys; assert len(json.load(open(sys.argv[1]))["packages"]) == 8' \
  "$folder"/sbom/*.spdx.json || fail "in '$folder' the list of contents has not all parts"
echo "packages_configured_windows_test: passed"
