#!/usr/bin/env bash
# The library inside another project: its packages are configured only where that is asked for, and nothing of them
# lies outside of its own folder.
# Usage: packages_configured_test.sh SOURCE_DIR CMAKE GENERATOR CXX
set -euo pipefail
root=$1 cmake=$2 generator=$3 cxx=$4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "packages_configured_test: $*" >&2
  exit 1
}

cat >"$work/CMakeLists.txt" <<'END'
cmake_minimum_required(VERSION 3.25)
project(parent LANGUAGES CXX)
add_subdirectory("${OVIX}" ovix)
if(DEFINED CPACK_PACKAGE_NAME)
  message(FATAL_ERROR "the parent's CPACK_PACKAGE_NAME is ${CPACK_PACKAGE_NAME}")
endif()
END
configure() { # BUILD OPTION...
  local build=$1
  shift
  "$cmake" -G "$generator" -S "$work" -B "$work/$build" "-DOVIX=$root" "-DCMAKE_CXX_COMPILER=$cxx" "$@" >"$work/log" 2>&1 ||
    { cat "$work/log" >&2; fail "configuring a parent ($*) failed"; }
}
packaging() { find "$work/$1" -name 'CPack*.cmake' -o -name debian -o -name 'sbom*'; }

configure silent
found=$(packaging silent)
[ -z "$found" ] || fail "a parent that asks for no packages has $found"

configure asked -DOVIX_PACKAGES=ON
[ -e "$work/asked/ovix/CPackConfig.cmake" ] || fail "a parent that asks for packages (OVIX_PACKAGES) has none"
found=$(packaging asked | grep -v "^$work/asked/ovix/" || true)
[ -z "$found" ] || fail "the packages of the library lie in the parent's folder: $found"
list=$work/asked/ovix/CPackConfig.cmake
grep -qF "\"$work/asked/ovix;ovix-telemetry-data-contracts;ALL;/\"" "$list" || fail "$list packs the whole parent"

# One folder of libraries for all architectures, as the default prefix has it, is not "Multi-Arch: same".
for libraries in lib "lib/$("$cxx" -print-multiarch)"; do
  configure multiarch -DOVIX_PACKAGES=ON "-DCMAKE_INSTALL_LIBDIR=$libraries"
  same=$(grep -c 'Multi-Arch: same' "$work/multiarch/ovix/CPackConfig.cmake" || true)
  expected=1
  [ "$libraries" != lib ] || expected=0
  [ $((same > 0)) = $expected ] || fail "with the libraries in $libraries, $same packages are Multi-Arch: same"
done

# A folder that is given whole is not looked for below the packages' prefix.
configure whole -DOVIX_PACKAGES=ON -DOVIX_DEBUG_INFO=LINES -DCMAKE_INSTALL_LIBDIR=/opt/libraries
grep -qF '"runtime/opt/libraries/lib' "$work/whole/ovix/CPackConfig.cmake" || fail "debug information is looked for in $(grep DEBUG_FILES "$work/whole/ovix/CPackConfig.cmake")"

configure empty -DOVIX_PACKAGES=ON -DOVIX_INSTALL=OFF
(cd "$work/empty/ovix" && ! "$(dirname "$cmake")/cpack" >"$work/log" 2>&1) || fail "cpack packed a library that is not installed"
grep -q '^ *OVIX_INSTALL is OFF.*; set OVIX_INSTALL=ON$' "$work/log" || { cat "$work/log" >&2; fail "cpack did not name OVIX_INSTALL"; }

if "$cmake" -G "$generator" -S "$root" -B "$work/refused" "-DCMAKE_CXX_COMPILER=$cxx" -DOVIX_DEBUG_INFO=some >"$work/log" 2>&1; then
  fail "an OVIX_DEBUG_INFO that there is not was taken"
fi
grep -q "OVIX_DEBUG_INFO is 'some'; set it to OFF, LINES or FULL" "$work/log" || { cat "$work/log" >&2; fail "OVIX_DEBUG_INFO was refused without a word"; }
echo "packages_configured_test: passed"
