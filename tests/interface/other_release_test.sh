#!/usr/bin/env bash
# A program that was compiled against a release of another binary interface must not run with this library: what
# refuses it names the function that is missing. Its headers differ in one thing, the number of the interface.
# Usage: other_release_test.sh LIBRARY SOURCE_ROOT GENERATED NM CXX [FLAG...]
# The flags are what any program needs that uses protobuf. A DLL's program is run by Wine.
set -euo pipefail
library=$1 root=$2 generated=$3 nm=$4
shift 4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "other_release_test: $*" >&2
  exit 1
}

header=ovix/telemetry/contract/abi.h
abi=$(sed -n 's/^#define OVIX_TELEMETRY_DATA_CONTRACTS_ABI_VERSION //p' "$generated/$header")
function=ovix_telemetry_data_contracts_abi_
next=$function$((abi + 1))
mkdir -p "$work/next/$(dirname $header)" "$work/next-library" "$work/as-next"
sed "s/$function$abi/$next/; s/\(_ABI_VERSION\) $abi/\1 $((abi + 1))/" "$generated/$header" >"$work/next/$header"

build=("$1")
shift
needs=()
for flag in "$@"; do
  case $flag in
    -I* | -D*) build+=("$flag") ;;
    *) needs+=("$flag") ;;
  esac
done

# The library of the next release, as far as a linker needs it.
cat >"$work/next-library/library.c" <<END
#ifdef _WIN32
__declspec(dllexport)
#endif
void $next(void) {}
END
name=$(basename "$library")
if [[ $name == *.dll ]]; then
  "${build[@]}" -x c -shared "$work/next-library/library.c" -o "$work/next-library/$name" \
    "-Wl,--out-implib,$work/next-library/import.a"
  next_library=$work/next-library/import.a
  this_library=$(dirname "$library")/lib${name%.dll}.dll.a
  # Wine would dump the program's state at length.
  run() { WINEDEBUG='' WINEDLLOVERRIDES="mscoree,mshtml,winedbg.exe=" timeout 60 wine "$1" 2>&1 | tr -d '\r'; }
  refused() { run "$work/next.exe"; }
else
  soname=libovix-telemetry-data-contracts.so
  "${build[@]}" -x c -shared -fPIC "$work/next-library/library.c" -o "$work/next-library/$soname" "-Wl,-soname,$soname.$((abi + 1))"
  next_library=$work/next-library/$soname
  this_library=$library
  # By its own name the library of another interface is not found at all. It is put there by hand.
  ln -s "$(readlink -f "$library")" "$work/as-next/$soname.$((abi + 1))"
  ln -s "$(readlink -f "$library")" "$work/as-next/$soname.$abi"
  run() { LD_LIBRARY_PATH=$work/as-next "$1" 2>&1; }
  refused() {
    local output
    output=$("$work/next.exe" 2>&1) && fail "$kind: it runs without the library of its own interface"
    grep -q "$soname.$((abi + 1)): cannot open" <<<"$output" || fail "$kind: without the library it says: $output"
    run "$work/next.exe"
  }
fi

"$nm" --defined-only "$library" | grep " $function$abi\$" >/dev/null || fail "$library has no $function$abi"
# Nothing of the library is used but what each of its headers refers to automatically.
for kind in "O0 storage/cache.pb.h -O0" "O2 contracts_collection.h -O2" "lto contracts_collection.h -O2 -flto" \
  "sections contracts_collection.h -O2 -ffunction-sections -fdata-sections -Wl,--gc-sections"; do
  read -r kind included flags <<<"$kind"
  read -ra flags <<<"$flags"
  printf '#include <cstdio>\n#include "ovix/telemetry/contract/%s"\nint main() { std::puts("it runs"); }\n' \
    "$included" >"$work/program.cc"
  compile() { "${build[@]}" -std=c++17 -w "-I$1" "-I$generated" "-I$root/library/include" "${flags[@]}" -c "$work/program.cc" -o "$2"; }
  link() { "${build[@]}" "${flags[@]}" "$work/$1.o" -o "$work/$2.exe" "$3" "${needs[@]}"; }
  compile "$generated" "$work/same.o" && link same same "$this_library"
  compile "$work/next" "$work/next.o" && link next next "$next_library"

  output=$(run "$work/same.exe") || fail "$kind: a program of this interface does not run: $output"
  [[ $output == *"it runs"* ]] || fail "$kind: a program of this interface says: $output"
  output=$(refused) && fail "$kind: a program of the next interface runs: $output"
  [[ $output != *"it runs"* ]] || fail "$kind: a program of the next interface begins to run"
  grep -q "$next" <<<"$output" || fail "$kind: what refuses the program does not name $next: $output"
  link next mixed "$this_library" 2>"$work/log" && fail "$kind: headers of the next interface link with this library"
  grep -q "$next" "$work/log" || fail "$kind: the linker does not name $next: $(cat "$work/log")"
done
echo "other_release_test: refused: $(grep "$next" <<<"$output" | head -1)"
