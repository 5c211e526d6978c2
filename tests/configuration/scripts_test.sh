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
# LAST, a command of the last step, ends the script; a signal is that of a keyboard or of a CI that gives up.
while IFS='|' read -r last expected; do
  ended=0
  said=$(bash -ec '. scripts/steps; trap "end_steps name" EXIT; step one; step "the last"; '"$last"'; passed="; more"' 2>&1) || ended=$?
  expected=${expected/ /" name: 0 s one name: 0 s the last name: "}
  [ "$(xargs <<<"$ended $said" | sed 's/[0-9]\+ s/0 s/g')" = "$expected" ] || { echo "scripts_test: after $last scripts/steps says: $ended $said" >&2; exit 1; }
done <<'END'
true|0 all passed in 0 s; more
false|1 FAILED after 0 s (the last)
kill -INT $$|130 FAILED after 0 s (the last)
kill -TERM $$|143 FAILED after 0 s (the last)
END
mapfile -t unsaid < <(grep -lE "^trap '.*end_steps" "${scripts[@]}" | xargs -d '\n' grep -L '^passed=')
[ ${#unsaid[@]} = 0 ] || { echo "scripts_test: ${unsaid[*]} never says that all passed; set passed in the last line" >&2; exit 1; }
echo "scripts_test: ${#scripts[@]} scripts"
