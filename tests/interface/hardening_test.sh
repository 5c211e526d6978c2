#!/usr/bin/env bash
# Holds what is shipped against what is promised of it. The built files: relocations read-only and bound at load, no
# executable stack, no text relocations, and loadable anywhere. The commands that compiled them: guarded stacks,
# checked calls of the C library and code for control-flow enforcement.
# Usage: hardening_test.sh BUILD_DIR NM READELF LIBRARY PROGRAM
set -euo pipefail
build=$1 nm=$2 readelf=$3
shift 3
here=$(cd "$(dirname "$0")" && pwd)
failed=0
check() { # FILE WHAT TEXT PATTERN: the pattern must be in the text
  grep -Eq -- "$4" <<<"$3" || { echo "hardening_test: $1: $2" >&2; failed=1; }
}
check_not() {
  ! grep -Eq -- "$4" <<<"$3" || { echo "hardening_test: $1: $2" >&2; failed=1; }
}

for file in "$@"; do
  segments=$("$readelf" -lW "$file")
  dynamic=$("$readelf" -dW "$file")
  check "$file" "its relocations are not read-only after loading (-z relro)" "$segments" GNU_RELRO
  check "$file" "symbols are bound later than at load (-z now)" "$dynamic" 'BIND_NOW|FLAGS.*NOW'
  check "$file" "it says nothing of its stack (-z noexecstack)" "$segments" GNU_STACK
  check_not "$file" "its stack is executable (-z noexecstack)" "$segments" 'GNU_STACK.*RWE'
  check_not "$file" "its code is relocated (-fPIC)" "$dynamic" TEXTREL
  check "$file" "it cannot be loaded anywhere (-fPIC, -fPIE)" "$("$readelf" -hW "$file")" 'Type: *DYN'
done
python3 "$here/hardening_probe.py" "$build" "$nm" "$readelf" library/generated library/src library/tables tool || failed=1
[ $failed = 0 ] && echo "hardening_test: passed"
exit $failed
