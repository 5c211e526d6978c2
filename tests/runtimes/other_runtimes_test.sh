#!/usr/bin/env bash
# Two other protobuf runtimes read the shipped descriptor set: they must find the same options of tables and payloads. Then
# the payloads of an outbox that the agent has filled on this machine, random messages and damaged bytes: what is accepted, as
# which values, and written as which bytes, but for what docs/readers.md lists.
# readers_test.sh does the same with runtimes that need tools of their own.
# Usage: other_runtimes_test.sh CONTRACTS.BINPB AGENT WRITE_CASES OVIX_CONTRACTS
set -euo pipefail
export PYTHONDONTWRITEBYTECODE=1
contracts=$1 agent=$2 write_cases=$3 tool=$4
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

# Debian's own interpreter: the runtime is a package of Debian's.
"$tool" list --tables --format csv | sed '1d; s/^[^,]*,\([^,]*\),[^,]*,\([^,]*,[^,]*\).*/\1,\2/' | sort >"$work/tables"
/usr/bin/python3 "$here/read_tables.py" "$contracts" | sort | diff "$work/tables" -
node "$here/read_tables.mjs" "$contracts" | sort | diff "$work/tables" -

"$agent" collect "$work/store" >/dev/null
"$agent" upload "$work/store" "$work/outbox" >/dev/null
for label in "$work"/outbox/*.json; do
  message=$(sed -n 's/.*"message": *"\([^"]*\)".*/\1/p' "$label")
  payload=${label%.json}.binpb
  "$tool" decode "$message" "$payload" | "$tool" encode "$message" | cmp - "$payload"
  echo "$message $(od -An -v -tx1 "$payload" | tr -d ' \n')"
done >"$work/outbox-cases"

cat "$here/odd_cases.txt" "$work/outbox-cases" >"$work/given"
"$write_cases" given "$work/given" >"$work/cases"
"$write_cases" random 60 1 >>"$work/cases"
held() {
  /usr/bin/python3 "$here/hold_reader.py" "$here/../../docs/readers.md" "$1" "$contracts" "$work/cases" -- "${@:2}"
}
held python /usr/bin/python3 "$here/read_cases.py"
held python-pure env PROTOCOL_BUFFERS_PYTHON_IMPLEMENTATION=python /usr/bin/python3 "$here/read_cases.py"
held javascript node "$here/read_cases.mjs"
