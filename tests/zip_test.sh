#!/usr/bin/env bash
# Unpacks the zip in another place, builds the C++17 consumer against it and runs that with nothing but
# the DLLs of the zip.
# Usage: zip_test.sh BUILD_DIR CMAKE TOOLCHAIN_FILE PROTOBUF_DIR
set -euo pipefail
build=$1 cmake=$2 toolchain=$3 protobuf=$4
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "zip_test: $*" >&2
  exit 1
}

zips=("$build"/*.zip)
[ ${#zips[@]} = 1 ] && [ -e "${zips[0]}" ] || fail "$build must hold one zip; run cpack there (scripts/test-windows does)"
unzip -q "${zips[0]}" -d "$work"
prefix=$(echo "$work"/*)

for file in bin/ovix-contracts.exe bin/ovix-telemetry-data-contracts.dll bin/libprotobuf.dll bin/libstdc++-6.dll \
  bin/libgcc_s_seh-1.dll bin/libwinpthread-1.dll lib/libovix-telemetry-data-contracts.dll.a \
  share/licenses/protobuf.txt share/licenses/gcc-runtime.txt share/licenses/mingw-w64-runtime.txt \
  share/ovix-telemetry-data-contracts/contracts.binpb \
  share/doc/ovix-telemetry-data-contracts/catalogue/index.html \
  include/ovix/telemetry/contract/upload/vorlan/BkcDeviceInfoAsCDM.proto; do
  [ -s "$prefix/$file" ] || fail "$file is missing from the zip"
done

python3 "$here/sbom_test.py" "$prefix" || fail "the list of contents is not right"
"$cmake" -G Ninja -S "$here/package" -B "$work/consumer" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
  -DCMAKE_PREFIX_PATH="$prefix" -DProtobuf_DIR="$protobuf" \
  >"$work/log" && "$cmake" --build "$work/consumer" >>"$work/log" ||
  { cat "$work/log"; fail "the consumer did not build"; }
output=$(WINEPATH="Z:$prefix/bin" wine "$work/consumer/consumer.exe" | tr -d '\r') || fail "the consumer failed"
expected="$(sed -n 's/^  VERSION //p' "$here/../CMakeLists.txt") HealthLog 180 $(grep -c 'Prototype<.*>(),' \
  "$here/../library/src/contracts_collection.cc")"
[ "$output" = "$expected" ] || fail "the consumer printed '$output', not '$expected'"
wine "$prefix/bin/ovix-contracts.exe" show BatteryHealthLog >"$work/shown" && grep -q '^ *14  eletric_current ' "$work/shown" ||
  fail "the tool does not run from the zip"
echo "zip_test: $output"
