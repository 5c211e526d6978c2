#!/usr/bin/env bash
# The tests' own schemas as buf formats them, C++ as clang-format does; the contracts' schemas are
# scripts/check-contracts' matter. Says what differs, and the command that fixes it.
# Usage: format_test.sh SOURCE_DIR
set -euo pipefail
cd "$1"
buf=$PWD/node_modules/.bin/buf
formatted=$(mktemp -d)
trap 'rm -rf "$formatted"' EXIT
failed=0

fix() {
  echo "format_test: fix it by: $*" >&2
  failed=1
}

mapfile -t schemas < <(git ls-files -co --exclude-standard '*.proto' | grep -v '^ovix/')
cp --parents "${schemas[@]}" "$formatted"
"$buf" format -w "$formatted"
for schema in "${schemas[@]}"; do
  diff -u --label "$schema" --label "$schema, formatted" "$schema" "$formatted/$schema" || fix "$buf format -w $schema"
done

mapfile -t sources < <(git ls-files -co --exclude-standard '*.cc' '*.h')
if ! clang-format --dry-run --Werror "${sources[@]}" 2>"$formatted/said"; then
  cat "$formatted/said"
  fix "clang-format -i $(sed -n 's/^\([^:]*\):[0-9]*:[0-9]*: error:.*/\1/p' "$formatted/said" | sort -u | xargs)"
fi
exit $failed
