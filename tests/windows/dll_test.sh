#!/usr/bin/env bash
# Looks into the DLL: what it exports, how its default instances are made, how it is hardened, what Windows is informed of
# it.
# Usage: dll_test.sh DLL CONTRACTS.BINPB OBJDUMP NM STRIP VERSION ABI BUILD_DIR
set -euo pipefail
dll=$1 contracts=$2 objdump=$3 nm=$4 strip=$5 version=$6 abi=$7 build=$8
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "dll_test: $*" >&2
  exit 1
}

"$objdump" -p "$dll" >"$work/headers"
# Newer versions print the names of the columns first.
awk '/\[Ordinal\/Name Pointer\]/ { names = 1; next } /^$/ { names = 0 } names && /\[ *[0-9]+\]/ { print $NF }' \
  "$work/headers" >"$work/exports"
/usr/bin/python3 "$here/../interface/exports_test.py" "$contracts" "$work/exports" "$abi" --inline \
  --documented "$here/../../docs/windows.md" "$here/../../compat/1.0.0/contracts.binpb"
[ "$(wc -l <"$work/exports")" -le 65535 ] || fail "more exports than a DLL can have"

for flag in HIGH_ENTROPY_VA DYNAMIC_BASE NX_COMPAT; do
  grep -q "$flag" "$work/headers" || fail "$flag is not set"
done
# What the guards call is in it: no DLL more is to be carried along.
python3 "$here/../interface/hardening_probe.py" "$build" "$nm" "$objdump" --guards-only library/generated library/src tool
"$nm" "$dll" >"$work/symbols"
grep -q ' T __stack_chk_fail$' "$work/symbols" || fail "stacks are guarded by a function of another DLL"

instances=$("$nm" "$dll" | grep -E '^[0-9a-f]+ . _ZN4ovix.*_default_instance_E$' | awk '{ print $2 }' | sort | uniq -c | xargs)
[[ $instances =~ ^[0-9]+\ D$ ]] ||
  fail "default instances must all lie in initialised data (D), but are: $instances"
if "$nm" "$dll" | grep ' _GLOBAL__sub_[ID][._]00101' | head -3 | grep .; then
  fail "the initialisers above are run for default instances while the DLL loads"
fi

# As it is shipped: stripped, with no path of the machine that built it.
"$strip" -o "$work/stripped.dll" "$dll"
size=$(stat -c %s "$work/stripped.dll")
# Contracts come in; what each costs may not grow.
allowed=$((232 * $(wc -l <"$work/exports")))
[ "$size" -le $allowed ] || fail "the DLL has $size bytes, and may have $allowed, 232 for each name that it exports"
if strings -a "$work/stripped.dll" | grep -E "(^|[^a-z_])/(usr|home|root|tmp|build)/|$(cd "$here/../.." && pwd)/" | head -3 | grep .; then
  fail "the paths above are in the DLL"
fi
strings -a -e l "$dll" >"$work/texts"
for text in ProductName ovix-telemetry-data-contracts FileDescription "$version"; do
  grep -qx "$text" "$work/texts" || fail "the version resource has no '$text'"
done
echo "dll_test: $(wc -l <"$work/exports") exports, ${instances% D} default instances in initialised data, $size bytes stripped"
