#!/usr/bin/env bash
# The tests' own schemas as buf formats them, C++ as clang-format 14 does; the contracts' schemas are
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

# Each version formats some lines in another way; the sources are as this one has them.
version=14
format=$(command -v clang-format-$version || command -v clang-format)
if ! "$format" --version | grep -q "version $version\."; then
  echo "format_test: C++ was not checked: that needs clang-format $version, and this is $("$format" --version)"
  exit $failed
fi
mapfile -t sources < <(git ls-files -co --exclude-standard '*.cc' '*.h')
if ! "$format" --dry-run --Werror "${sources[@]}" 2>"$formatted/said"; then
  cat "$formatted/said"
  fix "$format -i $(sed -n 's/^\([^:]*\):[0-9]*:[0-9]*: error:.*/\1/p' "$formatted/said" | sort -u | xargs)"
fi
exit $failed
