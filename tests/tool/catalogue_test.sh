#!/usr/bin/env bash
# Writes the catalogue twice, which must give the same bytes, and drives it in headless Chromium.
# Usage: catalogue_test.sh OVIX_CONTRACTS
set -euo pipefail
tool=$1
here=$(cd "$(dirname "$0")" && pwd)
chromium=$(command -v chromium) || {
  echo "catalogue_test: chromium was not found; run scripts/setup test" >&2
  exit 1
}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$tool" catalogue --out "$work/catalogue"
"$tool" catalogue --out "$work/again"
diff -rq "$work/catalogue" "$work/again" || {
  echo "catalogue_test: two runs differ" >&2
  exit 1
}
node "$here/catalogue_test.mjs" "$work/catalogue" "$chromium" "$tool"
