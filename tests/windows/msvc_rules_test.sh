#!/usr/bin/env bash
# Compiles the library's and a consumer's code by the rules of MSVC, with clang and the headers of MinGW, and holds what
# the consumer asks for against what the library exports. What MSVC's own compiler and library do is not tested here.
# Usage: msvc_rules_test.sh SOURCE_DIR GENERATED_DIR CLANG MINGW_COMPILER [-ILIBRARY_HEADERS]...
set -euo pipefail
root=$1 generated=$2 clang=$3 mingw=$4
shift 4
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "msvc_rules_test: $*" >&2
  exit 1
}

# The headers' folders as the compiler that they belong to searches them, but for its own, whose part clang's own have.
mapfile -t folders < <("$mingw" -xc++ -E -v /dev/null 2>&1 | sed -n '/^#include </,/^End/s/^ //p' | xargs realpath -e 2>/dev/null |
  grep -v '/gcc/[^/]*/[^/]*/include\(-fixed\)\{0,1\}$')
[ ${#folders[@]} -ge 2 ] || fail "$mingw does not name its headers' folders"
flags=(--target=x86_64-pc-windows-msvc -fms-extensions -D_MT -D_DLL -D_HAS_EXCEPTIONS=1 -Wall -Wextra -Werror
  -Wno-unused-parameter
  # MinGW's headers are for GCC, and have other ways than MSVC's to import and to name what the compiler has built in.
  -fgnuc-version=4.2.1 -D__declspec=__declspec -D__INTRIN_H -D__STRICT_ANSI__ '-Wno-#warnings' -Wno-builtin-macro-redefined
  -nostdinc++ -isystem "$("$clang" -print-resource-dir)/include")
for folder in "${folders[@]}"; do
  flags+=(-isystem "$folder")
done
for folder in "$@"; do
  flags+=(-isystem "${folder#-I}")
done
flags+=(-I"$generated" -I"$root/library/include" -I"$root/library/src" -I"$root/library/tables/include")

check() { # STANDARD SOURCE FLAG...
  "$clang" "-std=$1" "${flags[@]}" "${@:3}" "$2" || fail "$2 does not compile"
}

# The importing side sees every contract; the exporting side compiles our own code, the options and the largest contracts:
# all others are made of the same parts.
(cd "$generated" && find ovix -name '*.pb.h' -printf '#include <%p>\n') >"$work/all.cc"
[ "$(wc -l <"$work/all.cc")" -gt 100 ] || fail "$generated has no generated contracts"
check c++17 "$work/all.cc" -fsyntax-only
exports=(-DOVIX_TELEMETRY_DATA_CONTRACTS_BUILDING)
mapfile -t sources < <(cd "$generated" && find ovix -name '*.pb.cc' -printf '%s %p\n' | sort -rn | sed -n '1,6s/^[0-9]* //p')
for source in "${sources[@]}"; do
  check c++17 "$generated/$source" "${exports[@]}" -w -fsyntax-only
done
check c++20 "$root/library/tables/tables.cc" -fsyntax-only
# Assembly, which has the names, of what the consumer uses.
for source in "$root/library/src/contracts_collection.cc" "$generated"/ovix/telemetry/contract/storage/{storage_options,db,device_health/battery}.pb.cc; do
  check c++20 "$source" "${exports[@]}" -w -S -o "$work/$(basename "$source").s"
done

# The importing side: what it asks for is exported.
check c++17 "$root/tests/packages/package/consumer.cc" -S -o "$work/consumer"
{ grep -ohE '__imp_[?][^" ,()]*' "$work/consumer" || true; } | sed 's/^__imp_//' | sort -u >"$work/imported"
{ grep -ohE '/EXPORT:[^", ]*|/EXPORT:\\"[^"\\]*' "$work"/*.s || true; } | sed -E 's/^.EXPORT:(\\")?//' | sort -u >"$work/exported"
[ "$(wc -l <"$work/imported")" -ge 8 ] || fail "the consumer asks for hardly a name of the library: $(cat "$work/imported")"
missing=$(comm -23 "$work/imported" "$work/exported")
[ -z "$missing" ] || fail "a consumer asks for what is not exported: $missing"
echo "msvc_rules_test: $(wc -l <"$work/all.cc") contracts compile, and the $(wc -l <"$work/imported") names that a consumer asks for are exported"
