#!/usr/bin/env bash
# Holds the library's binary interface against that of the newest frozen release: a program compiled against
# the one runs with the other, or the library has another SONAME.
# Usage: abi_test.sh SOURCE_DIR LIBRARY
set -euo pipefail
root=$1 library=$2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

release=$(printf '%s\n' "$root"/compat/*/abi.xml.xz | sort -V | tail -1)
xz -dc "$release" >"$work/released.xml"
"$root/scripts/describe-abi" "$library" >"$work/built.xml"
soname() { sed -n "s/.* soname='\([^']*\)'.*/\1/p;q" "$1"; }
[ "$(grep -c '<class-decl' "$work/built.xml")" -gt 300 ] || {
  echo "abi_test: $library describes hardly a class; build it with debug information (preset dev)" >&2
  exit 1
}
if [ "$(soname "$work/released.xml")" != "$(soname "$work/built.xml")" ]; then
  echo "abi_test: $(soname "$work/built.xml") stands beside $(soname "$work/released.xml"): nothing to compare"
  exit 0
fi
# Symbols and types may come in; anything else is another interface.
abidiff --no-added-syms "$work/released.xml" "$work/built.xml" >"$work/changes" || {
  head -40 "$work/changes" >&2
  echo "abi_test: programs compiled against $(basename "$(dirname "$release")") would misread this library; raise" \
    "OVIX_ABI_VERSION in CMakeLists.txt, or undo what is told above" >&2
  exit 1
}
echo "abi_test: as $(basename "$(dirname "$release")")"
