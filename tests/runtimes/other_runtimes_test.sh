#!/usr/bin/env bash
# Two other protobuf runtimes read the shipped descriptor set, an outbox that the agent has filled with
# this machine's payloads, and two encodings of every message: they must find the same options and
# values, and encode to the same bytes.
# Then random messages and damaged bytes: what is accepted, and as what, but for what docs/readers.md lists.
# readers_test.sh does the same with runtimes that need tools of their own.
# Usage: other_runtimes_test.sh CONTRACTS.BINPB AGENT WRITE_VALUES WRITE_CASES OVIX_CONTRACTS
set -euo pipefail
export PYTHONDONTWRITEBYTECODE=1
contracts=$1 agent=$2 write_values=$3 write_cases=$4 tool=$5
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$agent" collect "$work/store" >/dev/null
"$agent" upload "$work/store" "$work/outbox" >/dev/null
mkdir "$work/corpus"
# The extreme values hold what the runtime warns of; that is not what is tested here.
"$write_values" fill "$work/corpus"
for folder in "$work/corpus" "$work/outbox"; do
  "$write_values" values "$folder"
done

# What the tool encodes from those values, of the whole outbox and of the corpus' payloads, goes to the same
# readers, and it reads what they are held to encode: the payloads' own bytes.
mkdir "$work/tool"
for label in "$work"/outbox/*.json "$work"/corpus/*AsCDM-filled.json; do
  message=$(sed -n 's/.*"message": *"\([^"]*\)".*/\1/p' "$label")
  payload=${label%.json}.binpb
  name=$(basename "$payload")
  "$tool" encode "$message" "$payload.values" -o "$work/tool/$name"
  cp "$label" "$payload.values" "$work/tool"
  "$tool" decode "$message" "$payload" | "$tool" encode "$message" | cmp - "$payload"
done

# Debian's own interpreter: the runtime is a package of Debian's.
/usr/bin/python3 "$here/read_payloads.py" "$contracts" "$work/corpus" "$work/outbox" "$work/tool"
node "$here/read_payloads.mjs" "$contracts" "$work/corpus" "$work/outbox" "$work/tool"

# What the two say must depend on the bytes: one damaged payload is found by both.
payloads=("$work"/outbox/*.binpb)
printf '\x0a\x01x' >>"${payloads[0]}"
for reader in "/usr/bin/python3 read_payloads.py" "node read_payloads.mjs"; do
  if "${reader% *}" "$here/${reader#* }" "$contracts" "$work/outbox" >/dev/null 2>&1; then
    echo "other_runtimes_test: $reader did not notice a damaged payload" >&2
    exit 1
  fi
done

"$write_cases" given "$here/odd_cases.txt" >"$work/cases"
"$write_cases" random 60 1 >>"$work/cases"
held() {
  /usr/bin/python3 "$here/hold_reader.py" "$here/../../docs/readers.md" "$1" "$contracts" "$work/cases" -- "${@:2}"
}
held python /usr/bin/python3 "$here/read_cases.py"
held python-pure env PROTOCOL_BUFFERS_PYTHON_IMPLEMENTATION=python /usr/bin/python3 "$here/read_cases.py"
held javascript node "$here/read_cases.mjs"
