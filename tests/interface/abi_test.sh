#!/usr/bin/env bash
# Holds the library's binary interface against that of the newest frozen release: a program compiled against
# the one runs with the other, or the library has the next SONAME. The next one permits another layout of the
# classes whose messages have other fields, which are listed, and nothing else.
# Usage: abi_test.sh SOURCE_DIR LIBRARY CONTRACTS.BINPB
set -euo pipefail
root=$1 library=$2 contracts=$3
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

kind=$("$root/scripts/describe-abi" --kind "$library")
version=$(basename "$(printf '%s\n' "$root"/compat/*.*.* | sort -V | tail -1)")
release=$root/compat/$version/abi-$kind.xml.xz
[ -e "$release" ] || {
  echo "abi_test: skipped: compat/$version has no description of $kind to compare with"
  exit 77
}
number() { sed -n "s/.* soname='[^']*\.so\.\([0-9]*\)'.*/\1/p;q" "$1"; }
complain() { echo "abi_test: $*" >&2; }

# Says what is wrong with an interface after a release's; the classes that may have changed are in a file.
hold() { # RELEASED.XML BUILT.XML MAY_CHANGE
  local released built
  released=$(number "$1") built=$(number "$2")
  if [ "$built" = "$released" ]; then
    # Symbols and types may come in; anything else is another interface.
    abidiff --no-added-syms "$1" "$2" >"$work/changes" && { echo "abi_test: as $version"; return; }
    head -40 "$work/changes" >&2
    complain "programs compiled against $version would misread this library; set OVIX_ABI_VERSION in" \
      "CMakeLists.txt to $((released + 1)), or undo what is listed above"
    return 1
  fi
  if [ "$built" != $((released + 1)) ]; then
    complain "OVIX_ABI_VERSION is $built, but $version has $released; set it to $((released + 1)) where a class has" \
      "another layout, else to $released"
    return 1
  fi
  abidiff --ignore-soname --no-added-syms --leaf-changes-only "$1" "$2" >"$work/changes" || true
  if grep -q '^ *\[D\]' "$work/changes"; then
    grep '^ *\[D\]' "$work/changes" | head -20 >&2
    complain "these symbols of $version are gone; a raised OVIX_ABI_VERSION permits other layouts only: bring them back"
    return 1
  fi
  # The classes by their full names; what protoc declares in and around one is part of it.
  sed -nE "s/^ *'(class|struct|union) (ovix::[A-Za-z0-9_:]+).*' changed:\$/\2/p" "$work/changes" |
    sed 's/::Impl_.*//; s/DefaultTypeInternal$//' | sort -u >"$work/changed"
  while read -r class; do
    grep -qxF "$class" "$3" && continue
    cat "$work/changes" >&2
    complain "$class has another layout than in $version, but its message has the same fields; undo what changed it"
    return 1
  done <"$work/changed"
  echo "abi_test: OVIX_ABI_VERSION is $built after $released of $version; other layouts: $(xargs <"$work/changed")"
  [ -s "$work/changed" ] || echo "abi_test: none: $released would do"
}

# Leaves out the hidden flag of destructors, which GCC 12 describes as a parameter and GCC 14 does not.
without_flags() {
  awk '/<function-decl name=.~/ { hidden = 0; within = 1 } /<\/function-decl>/ { within = 0 }
    within && /<parameter .*is-artificial=.yes./ && ++hidden > 1 { next } { print }'
}
xz -dc "$release" | without_flags >"$work/released.xml"
"$root/scripts/describe-abi" "$library" | without_flags >"$work/built.xml"
[ "$(grep -c '<class-decl' "$work/built.xml")" -gt 300 ] || {
  complain "$library describes hardly a class; build it with debug information (preset dev)"
  exit 1
}
"$here/changed_classes.py" "$(dirname "$release")/contracts.binpb" "$contracts" >"$work/may-change"
hold "$work/released.xml" "$work/built.xml" "$work/may-change"

# What it must refuse and permit, on copies of the release's own description.
name=$(sed -n "s/.*<class-decl name='\([A-Za-z]*HealthLog\)' size-in-bits='[0-9]*'.*/\1/p" "$work/released.xml" | sed -n 1p)
full=$(sed -n "s/.*<elf-symbol name='\([^']*[0-9]${name}C1ER[^']*\)'.*/\1/p" "$work/released.xml" | c++filt | sed "s/::$name(.*//")
[ -n "$full" ] || { complain "the description of $version has no class to try the test with"; exit 1; }
next=$(($(number "$work/released.xml") + 1))
raised="1s/\.so\.[0-9]*'/.so.$next'/"
larger="s/\(<class-decl name='$name' size-in-bits='[0-9]*\)'/\10'/"
try() { # EXPECTED EDIT MAY_CHANGE WORDS
  sed "$2" "$work/released.xml" >"$work/edited.xml"
  echo "$3" >"$work/some"
  local result=0
  hold "$work/released.xml" "$work/edited.xml" "$work/some" >"$work/said" 2>&1 || result=$?
  if [ "$result" != "$1" ] || ! grep -qF "$4" "$work/said"; then
    cat "$work/said" >&2
    complain "after $2 expected $1 and '$4', but got $result"
    exit 1
  fi
}
try 0 "" "" "as $version"
try 1 "$larger" "$full" "set OVIX_ABI_VERSION"
try 0 "$raised" "" "none:"
try 1 "1s/\.so\.[0-9]*'/.so.$((next + 1))'/" "" "set it to $next"
try 0 "$raised;$larger" "$full" "other layouts: $full"
try 1 "$raised;$larger" "" "has the same fields"
try 1 "$raised;/<elf-symbol name='[^']*[0-9]${name}C1ER/d" "$full" "are gone"
