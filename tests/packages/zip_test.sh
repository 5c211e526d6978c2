#!/usr/bin/env bash
# Unpacks the zip in another place, builds the C++17 consumer against it and runs that with nothing but
# the DLLs of the zip; unpacks the debug information over it and reads an address of each shipped file.
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

zips=("$build"/*-win64.zip)
[ ${#zips[@]} = 1 ] && [ -e "${zips[0]}" ] || fail "$build must hold one zip; run cpack there (scripts/test-windows does)"
unzip -q "${zips[0]}" -d "$work"
prefix=$(echo "$work"/*)
[ "$(basename "$prefix")" = "$(basename "${zips[0]}" .zip)" ] || fail "the zip's folder is $(basename "$prefix"), not the zip's name"

for file in bin/ovix-contracts.exe bin/ovix-telemetry-data-contracts.dll bin/libprotobuf.dll bin/libstdc++-6.dll \
  bin/libgcc_s_seh-1.dll bin/libwinpthread-1.dll lib/libovix-telemetry-data-contracts.dll.a \
  share/licenses/ovix-telemetry-data-contracts.txt share/licenses/protobuf.txt share/licenses/CLI11.txt share/licenses/RapidJSON.txt share/licenses/gcc-runtime.txt share/licenses/mingw-w64-runtime.txt \
  share/ovix-telemetry-data-contracts/contracts.binpb \
  share/doc/ovix-telemetry-data-contracts/catalogue/index.html \
  include/ovix/telemetry/contract/upload/vorlan/BkcDeviceInfoAsCDM.proto; do
  [ -s "$prefix/$file" ] || fail "$file is missing from the zip"
done

! find "$prefix" -name '*.debug' | grep . || fail "the debug files above are in the zip, not in one of their own"
python3 "$here/sbom_test.py" "$prefix" ovix-telemetry-data-contracts || fail "the list of contents is not right"
"$cmake" -G Ninja -S "$here/package" -B "$work/consumer" -DCMAKE_TOOLCHAIN_FILE="$toolchain" \
  -DCMAKE_PREFIX_PATH="$prefix" -DProtobuf_DIR="$protobuf" \
  >"$work/log" && "$cmake" --build "$work/consumer" >>"$work/log" ||
  { cat "$work/log"; fail "the consumer did not build"; }
output=$(WINEPATH="Z:$prefix/bin" wine "$work/consumer/consumer.exe" | tr -d '\r') || fail "the consumer failed"
expected="$(sed -n 's/^  VERSION //p' "$here/../../CMakeLists.txt") HealthLog 180 $(grep -c 'Prototype<.*>(),' \
  "$here/../../library/src/contracts_collection.cc")"
[ "$output" = "$expected" ] || fail "the consumer printed '$output', not '$expected'"
wine "$prefix/bin/ovix-contracts.exe" show BatteryHealthLog >"$work/shown" && grep -q '^ *14  eletric_current ' "$work/shown" ||
  fail "the tool does not run from the zip"

unzip -q "${zips[0]%.zip}-debug.zip" -d "$work" || fail "there is no zip of the debug information"
while read -r file symbol function source; do
  python3 "$here/debug_info_test.py" "$prefix/bin/$file" "$prefix/bin/$file.debug" \
    "$symbol" "$function" "$source" x86_64-w64-mingw32- || fail "a crash in $file could not be read"
done <<'END'
ovix-telemetry-data-contracts.dll _ZN4ovix9telemetry8contract19ContractsCollection4NextEv ovix::telemetry::contract::ContractsCollection::Next library/src/contracts_collection.cc
ovix-contracts.exe wmain wmain tool/main.cc
END
echo "zip_test: $output"
