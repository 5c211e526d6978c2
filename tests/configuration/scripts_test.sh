#!/usr/bin/env bash
# What shellcheck finds wrong with the shell scripts; .shellcheckrc and the scripts say what is meant as it is.
# Usage: scripts_test.sh SOURCE_DIR
set -euo pipefail
cd "$1"
mapfile -t scripts < <(git ls-files -z -co --exclude-standard |
  LC_ALL=C xargs -0 awk 'FNR == 1 && /^#!.*[ \/](ba)?sh$/ { print FILENAME } { nextfile }')
[ ${#scripts[@]} -gt 20 ] || { echo "scripts_test: found only ${#scripts[@]} scripts; correct how this test finds them" >&2; exit 1; }
shellcheck --color=never "${scripts[@]}"
echo "scripts_test: ${#scripts[@]} scripts"
