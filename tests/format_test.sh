#!/usr/bin/env bash
# Schemas as buf formats them, C++ as clang-format does. buf would sort a schema's imports, but their
# order is part of the contract: import lines may stand in any order.
# Usage: format_test.sh SOURCE_DIR
set -euo pipefail
cd "$1"
buf=$PWD/node_modules/.bin/buf
failed=0
formatted=$(mktemp -d)
trap 'rm -rf "$formatted"' EXIT

imports_last() {
  grep -v '^import ' "$1"
  grep '^import ' "$1" | LC_ALL=C sort || true
}

schemas=$(git ls-files -co --exclude-standard '*.proto')
# shellcheck disable=SC2086 # one word a schema
cp --parents $schemas "$formatted"
"$buf" format -w "$formatted"
for schema in $schemas; do
  if ! diff -u --label "$schema" --label "$schema, formatted" \
    <(imports_last "$schema") <(imports_last "$formatted/$schema"); then
    echo "format_test: $schema: mend it as shown (imports keep their own order)" >&2
    failed=1
  fi
done

git ls-files -co --exclude-standard '*.cc' '*.h' | xargs clang-format --dry-run --Werror || failed=1
exit $failed
