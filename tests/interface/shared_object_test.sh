#!/usr/bin/env bash
# Looks into the shared object: what it exports, what it looks up by name, that it stays loaded.
# Usage: shared_object_test.sh LIBRARY CONTRACTS.BINPB NM READELF
set -euo pipefail
library=$1 contracts=$2 nm=$3 readelf=$4
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "shared_object_test: $*" >&2
  exit 1
}

"$nm" -D --defined-only --format=posix "$library" | sed 's/[@ ].*//' >"$work/exports"
"$readelf" --relocs --wide "$library" | awk '$3 ~ /^R_/ && NF > 4 { sub(/@.*/, "", $5); print $5 }' | sort -u >"$work/by_name"
# Its name counts the binary interface, and so does the function that it exports for that.
abi=$("$readelf" --dynamic "$library" | sed -n 's/.*SONAME.*\.so\.\([0-9]*\)\]$/\1/p')
/usr/bin/python3 "$here/exports_test.py" "$contracts" "$work/exports" "$abi" --by-name "$work/by_name"

"$readelf" --dynamic "$library" >"$work/dynamic"
grep -q 'FLAGS_1.*NODELETE' "$work/dynamic" || fail "the library can be unloaded, which leaves the runtime pointers into nothing"
if "$readelf" --version-info "$library" | grep GLIBC_ABI_DT_RELR >/dev/null; then
  grep -q RELRSZ "$work/dynamic" || fail "relocations are not packed, though the library says that they are"
fi
echo "shared_object_test: passed"
