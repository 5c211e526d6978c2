#!/usr/bin/env bash
# Looks into the built library: every default instance is constant-initialised data, and loading runs
# no initialiser for any of them.
# Usage: object_files_test.sh LIBRARY NM
set -euo pipefail
library=$1 nm=$2

fail() {
  echo "object_files_test: $*" >&2
  exit 1
}

symbols=$("$nm" --defined-only "$library")
instances=$(grep -c '_default_instance_E$' <<<"$symbols") || fail "$library has no default instances"
in_data=$(grep -c ' [Dd] .*_default_instance_E$' <<<"$symbols") || true
[ "$instances" = "$in_data" ] ||
  fail "$((instances - in_data)) of $instances default instances are not in initialised data"

# The runtime's headers give default instances initialisation priority 101; an initialiser at that
# priority is code run for one of them at load.
if grep ' _GLOBAL__sub_[ID][._]00101' <<<"$symbols" | head -3 | grep .; then
  fail "the initialisers above are run for default instances while the library loads"
fi
echo "object_files_test: $instances default instances, all constant-initialised"
