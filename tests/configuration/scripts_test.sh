#!/usr/bin/env bash
# What shellcheck finds wrong with the shell scripts; .shellcheckrc and the scripts say what is meant as it is. And whether the scripts
# that test say which of their steps failed.
# Usage: scripts_test.sh SOURCE_DIR
set -euo pipefail
cd "$1"
mapfile -t scripts < <(git ls-files -z -co --exclude-standard |
  LC_ALL=C xargs -0 awk 'FNR == 1 && /^#!.*[ \/](ba)?sh$/ { print FILENAME } { nextfile }')
[ ${#scripts[@]} -gt 20 ] || { echo "scripts_test: found only ${#scripts[@]} scripts; correct how this test finds them" >&2; exit 1; }
shellcheck --color=never "${scripts[@]}"
for last in true false; do
  ended=0
  said=$(bash -ec '. scripts/steps; trap "end_steps name" EXIT; step one; step "the last"; '$last'; passed="; more"' 2>&1) || ended=$?
  if [ $last = true ]; then expected='0 name: 0 s one name: 0 s the last name: all passed in 0 s; more'; else
    expected='1 name: 0 s one name: 0 s the last name: FAILED after 0 s (the last)'; fi
  [ "$(xargs <<<"$ended $said" | sed 's/[0-9]\+ s/0 s/g')" = "$expected" ] || { echo "scripts_test: after $last scripts/steps says: $ended $said" >&2; exit 1; }
done
echo "scripts_test: ${#scripts[@]} scripts"
