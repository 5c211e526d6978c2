#!/usr/bin/env bash
# The agent collects what Windows says of the machine, keeps and uploads it, all under Wine: in a folder
# whose name is not ASCII, with programs in the registry that this test puts there.
# Usage: agent_on_windows_test.sh OVIX-AGENT.EXE WINE
set -euo pipefail
agent=$1 wine=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
folder="$work/Zürich 😀"
uninstall='Software\Microsoft\Windows\CurrentVersion\Uninstall'
clean_up() {
  for view in 32 64; do
    "$wine" reg delete "HKLM\\$uninstall\\Ovix test" /f "/reg:$view" >/dev/null 2>&1 || true
  done
  rm -rf "$work"
}
trap clean_up EXIT
fail() {
  echo "agent_on_windows_test: $1" >&2
  cat "$work"/output* >&2
  exit 1
}
# A path as Windows spells it.
windows() { echo "Z:${1//\//\\}"; }
# Adds a value to a program of the registry: VIEW, VALUE, DATA, and how `reg add` calls the type.
program() { "$wine" reg add "HKLM\\$uninstall\\Ovix test$5" /v "$2" /t "$4" /d "$3" /f "/reg:$1" >/dev/null; }

mkdir "$folder"
program 64 DisplayName 'Prüfer 😀' REG_SZ ''
program 64 Publisher 'Müller' REG_SZ ''
program 64 DisplayVersion 1.2 REG_SZ ''
program 64 EstimatedSize 12 REG_DWORD ''
program 64 InstallDate 20260131 REG_SZ ''
program 32 DisplayName 'Narrow' REG_SZ ''
program 64 DisplayName 'Hidden' REG_SZ '\hidden'
"$wine" reg add "HKLM\\$uninstall\\Ovix test\\hidden" /v SystemComponent /t REG_DWORD /d 1 /f /reg:64 >/dev/null

"$wine" "$agent" collect "$(windows "$folder/store")" >"$work/output1" || fail "collect failed"
[ -e "$folder/store/DeviceProfile.db" ] || fail "the store is not in the folder that was named"
"$wine" "$agent" collect "$(windows "$folder/store")" >"$work/output2" || fail "the second collect failed"
grep -q '^Since the last run: 0 new, .* 0 gone' "$work/output2" || fail "the second run found another machine"
"$wine" "$agent" upload "$(windows "$folder/store")" "$(windows "$folder/outbox")" >"$work/output3" ||
  fail "upload failed"
for payload in OperatingSystemAsCDM HwComponentsInfoAsCDM IdentityAsCDM PcAppInventorySummaryAsCDM; do
  grep -q "$payload" "$work/output3" || fail "$payload was not built"
done

guid=$("$wine" reg query 'HKLM\Software\Microsoft\Cryptography' /v MachineGuid /reg:64 |
  tr -d '\r' | sed -n 's/.*REG_SZ *//p')
[ -n "$guid" ] || fail "this Wine has no machine id to look for"
if grep -rqaF "$guid" "$folder"; then fail "the machine id itself was kept or sent"; fi

python3 "$here/agent_on_windows_test.py" "$folder/store" "$work/output1" || fail "see above"
