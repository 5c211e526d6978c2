#!/usr/bin/env bash
# Reads off the built files that they are hardened: relocations read-only and bound at load, no executable
# stack, no text relocations, guarded stacks, checked calls of the C library, and a program that
# can be loaded anywhere.
# Usage: hardening_test.sh LIBRARY PROGRAM
set -euo pipefail
failed=0
check() { # FILE WHAT TEXT PATTERN: the pattern must be in the text
  grep -Eq -- "$4" <<<"$3" || { echo "hardening_test: $1: $2" >&2; failed=1; }
}
check_not() {
  ! grep -Eq -- "$4" <<<"$3" || { echo "hardening_test: $1: $2" >&2; failed=1; }
}

for file in "$@"; do
  segments=$(readelf -lW "$file")
  dynamic=$(readelf -dW "$file")
  symbols=$(readelf --dyn-syms -W "$file")
  check "$file" "its relocations are not read-only after loading (-z relro)" "$segments" GNU_RELRO
  check "$file" "symbols are bound later than at load (-z now)" "$dynamic" 'BIND_NOW|FLAGS.*NOW'
  check "$file" "it says nothing of its stack (-z noexecstack)" "$segments" GNU_STACK
  check_not "$file" "its stack is executable (-z noexecstack)" "$segments" 'GNU_STACK.*RWE'
  check_not "$file" "its code is relocated (-fPIC)" "$dynamic" TEXTREL
  check "$file" "its stacks are not guarded (-fstack-protector-strong)" "$symbols" __stack_chk_fail
  check "$file" "it cannot be loaded anywhere (-fPIC, -fPIE)" "$(readelf -hW "$file")" 'Type: *DYN'
done
[ $failed = 0 ] && echo "hardening_test: passed"
exit $failed
