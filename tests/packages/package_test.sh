#!/usr/bin/env bash
# Installs the package, moves the tree elsewhere, and has a C++17 consumer built against it with
# find_package and with pkg-config.
# Usage: package_test.sh BUILD_DIR CMAKE GENERATOR CXX
set -euo pipefail
build=$1 cmake=$2 generator=$3 cxx=$4
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
# What an older build left of a schema that is gone.
stale=$build/library/generated/ovix/telemetry/contract/storage/gone.pb.h
trap 'rm -rf "$work" "$stale"' EXIT
touch "$stale"

fail() {
  echo "package_test: $*" >&2
  exit 1
}

"$cmake" --install "$build" --prefix "$work/installed" >"$work/log" || { cat "$work/log"; exit 1; }
mv "$work/installed" "$work/moved"
prefix=$work/moved
abi=$(sed -n 's/^set(OVIX_ABI_VERSION \([0-9]*\))$/\1/p' "$here/../../CMakeLists.txt")
expected="$(sed -n 's/^  VERSION //p' "$here/../../CMakeLists.txt") HealthLog 180 $(grep -c 'Prototype<.*>(),' \
  "$here/../../library/src/contracts_collection.cc")"

check_run() {
  local way=$1 output
  shift
  output=$("$@") || fail "$way: the consumer failed"
  [ "$output" = "$expected" ] || fail "$way: the consumer printed '$output', not '$expected'"
  echo "$way: $output"
}

"$cmake" -G "$generator" -S "$here/package" -B "$work/consumer" -DCMAKE_CXX_COMPILER="$cxx" \
  -DCMAKE_PREFIX_PATH="$prefix" >"$work/log" && "$cmake" --build "$work/consumer" >>"$work/log" ||
  { cat "$work/log"; fail "find_package: the consumer did not build"; }
check_run find_package "$work/consumer/consumer"
descriptor_set=$(cat "$work/consumer/descriptor_set")
[ -s "$descriptor_set" ] || fail "the target's OVIX_DESCRIPTOR_SET is '$descriptor_set', which is not there"

# The programs that the pages show, built as the README says.
block() { # PAGE LANGUAGE
  sed -n "/^\`\`\`$2\$/,/^\`\`\`\$/{/^\`\`\`/d;p}" "$here/../../$1"
}
try_page() { # PAGE EXPECTED
  mkdir -p "$work/page"
  block README.md cmake >"$work/page/CMakeLists.txt"
  block "$1" cpp >"$work/page/battery.cc"
  "$cmake" -G "$generator" -S "$work/page" -B "$work/page/build" -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_CXX_STANDARD=17 \
    -DCMAKE_PREFIX_PATH="$prefix" >"$work/log" && "$cmake" --build "$work/page/build" >>"$work/log" ||
    { cat "$work/log"; fail "$1: its program does not build"; }
  "$work/page/build/battery" | grep -xF "$2" >"$work/log" || fail "$1: its program did not print '$2'"
}
try_page README.md "31 degrees at 2026-11-21T04:31:09.120Z"
try_page docs/library.md "HealthLog: BatteryHealthLog"

export PKG_CONFIG_PATH
PKG_CONFIG_PATH=$(dirname "$(find "$prefix" -name '*.pc')")
name=ovix-telemetry-data-contracts
# shellcheck disable=SC2046 # the flags are words
"$cxx" -std=c++17 -Wall -Wextra -Werror "$here/package/consumer.cc" -o "$work/by_pkg_config" \
  $(pkg-config --cflags --libs "$name") || fail "pkg-config: the consumer did not build"
check_run pkg-config env LD_LIBRARY_PATH="$(pkg-config --variable=libdir "$name")" "$work/by_pkg_config"
cmp -s "$(pkg-config --variable=descriptor_set "$name")" "$descriptor_set" ||
  fail "pkg-config's descriptor_set is not the target's"

# The schemas are next to the headers, whole: the set made of them is the set installed.
(cd "$prefix/include" && find ovix -name '*.proto' | LC_ALL=C sort >"$work/schemas")
[ -s "$work/schemas" ] || fail "no schema is installed"
while read -r schema; do
  [ -e "$prefix/include/${schema%.proto}.pb.h" ] || fail "$schema has no header next to it"
  cmp -s "$prefix/include/$schema" "$here/../../$schema" || fail "$schema is not the schema of the tree"
done <"$work/schemas"
[ "$(find "$prefix/include" -name '*.pb.h' | wc -l)" = "$(wc -l <"$work/schemas")" ] ||
  fail "the headers are not those of the schemas: $(cd "$prefix/include" && find . -name "$(basename "$stale")")"
[ "$(find "$prefix/include" -name '*.h' ! -name '*.pb.h' -printf '%f\n' | LC_ALL=C sort | xargs)" = "abi.h contracts_collection.h export.h tables.h version.h" ] ||
  fail "the headers that are not generated are not the four that there are"

python3 "$here/sbom_test.py" "$prefix" "lib$name$abi" "lib$name-dev" ovix-contracts || fail "the list of contents is not right"

for file in bash-completion/completions/ovix-contracts zsh/site-functions/_ovix-contracts \
  fish/vendor_completions.d/ovix-contracts.fish man/man1/ovix-contracts.1.gz; do
  [ -s "$prefix/share/$file" ] || fail "the tool's share/$file is not installed"
done

catalogue=$prefix/share/doc/ovix-telemetry-data-contracts/catalogue
[ -s "$catalogue/contracts/ovix.telemetry.contract.storage.device_health.BatteryHealthLog.html" ] ||
  fail "the catalogue of the contracts is not installed"
pages=$(grep -o 'href="\.\./docs/[^"]*' "$catalogue/index.html" | cut -d '"' -f 2) || fail "the catalogue links to no page"
for page in $pages ../README.md; do
  [ -s "$catalogue/$page" ] || fail "the catalogue's $page is not installed"
done

library=$(find "$prefix" -name "lib*.so.$abi")
[ "$(objdump -p "$library" | awk '$1 == "SONAME" { print $2 }')" = "lib$name.so.$abi" ] ||
  fail "the library's SONAME is not that of OVIX_ABI_VERSION, $abi"

# A consumer gets one line of error when protobuf is of another series.
mkdir -p "$work/other/google/protobuf/stubs"
echo '#define GOOGLE_PROTOBUF_VERSION 4025000' >"$work/other/google/protobuf/stubs/common.h"
for source in "$here/package" "$here/../.."; do
  if "$cmake" -G "$generator" -S "$source" -B "$work/refused-$(basename "$source")" \
    -DCMAKE_PREFIX_PATH="$prefix" -DProtobuf_INCLUDE_DIR="$work/other" >"$work/log" 2>&1; then
    fail "configuring $source with protobuf 4.25 did not fail"
  fi
  tr -s ' \n' ' ' <"$work/log" | grep -q 'needs the 3.21 series; point Protobuf_DIR' ||
    { cat "$work/log"; fail "configuring $source with protobuf 4.25 did not say why it failed"; }
done
echo "package_test: passed"
