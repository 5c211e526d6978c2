#!/usr/bin/env bash
# What shellcheck finds wrong with the shell scripts; .shellcheckrc and the scripts say what is meant as it is. Whether the scripts
# that test say which of their steps failed, and what scripts refuse: in one line, before anything else is done.
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
  said=$(env --default-signal=INT,TERM bash -ec '. scripts/steps; trap "end_steps name" EXIT; step one; step "the last"; '"$last"'; passed="; more"' 2>&1) || ended=$?
  expected=${expected/ /" name: 0 s one name: 0 s the last name: "}
  [ "$(xargs <<<"$ended $said" | sed 's/[0-9]\+ s/0 s/g')" = "$expected" ] || { echo "scripts_test: after $last scripts/steps says: $ended $said" >&2; exit 1; }
done <<'END'
true|0 all passed in 0 s; more
false|1 FAILED after 0 s (the last)
kill -INT $$|130 FAILED after 0 s (the last)
kill -TERM $$|143 FAILED after 0 s (the last)
! bash -c "kill -INT $$; exit 1"|130 FAILED after 0 s (the last)
END
mapfile -t unsaid < <(grep -lE "^trap '.*end_steps" "${scripts[@]}" | xargs -d '\n' grep -L '^passed=')
[ ${#unsaid[@]} = 0 ] || { echo "scripts_test: ${unsaid[*]} never says that all passed; set passed in the last line" >&2; exit 1; }

# An exported CDPATH leads a `cd` of a relative folder elsewhere.
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work/elsewhere"/{scripts,.ci}
# shellcheck disable=SC2016 # the text of a script
mapfile -t led < <(grep -lF 'cd "$(dirname "$0")/..' "${scripts[@]}" | grep -v '^tests/' | xargs -d '\n' grep -L '^unset CDPATH$')
[ ${#led[@]} = 0 ] || { echo "scripts_test: ${led[*]} can be led elsewhere; write unset CDPATH before cd" >&2; exit 1; }
while IFS='|' read -r command expected; do
  ended=0
  # shellcheck disable=SC2086 # words
  said=$(CDPATH="$work/elsewhere" OVIX_SETUP=refused timeout 20 scripts/$command 2>&1 </dev/null) || ended=$?
  [ "$ended $said" = "$expected" ] || { echo "scripts_test: scripts/$command ended with and said '$ended $said', not '$expected'" >&2; exit 1; }
done <<'END'
test devv|2 test: 'devv' is none of dev, clang, asan and tsan
test dev release|2 test: 'release' is none of dev, clang, asan and tsan
test-windows --help|2 test-windows: '--help' is not known; write scripts/test-windows alone
../.ci/run --help|2 ci: '--help' is not known; write scripts/../.ci/run alone
windows-libraries all|2 windows-libraries: 'all' is not known; write scripts/windows-libraries alone
arm64-libraries --help|2 arm64-libraries: '--help' is not known; write scripts/arm64-libraries alone
build-fleet --help|2 build-fleet: '--help' is an option, and there are none; name a command, or nothing
bench-fleet --payloads|2 bench-fleet: '--payloads' is not --payloads N or --workers N, each with a number
tidy library/src/utf8.cc absent.cc|2 tidy: 'absent.cc' is not a file; name one as from the root of this tree
check-contracts --all|2 check-contracts: unrecognized arguments: --all; see check-contracts --help
planted-faults --all|2 planted-faults: unrecognized arguments: --all; see planted-faults --help
test-arm64 tool|2 test-arm64: 'tool' is not known; write scripts/test-arm64 alone
bench-windows all|2 bench-windows: 'all' is not known; write scripts/bench-windows alone
describe-abi|2 describe-abi: '' is not the name of a file; name one library that has debug information
test-packages a.deb|2 test-packages: 'a.deb' is not known; write scripts/test-packages alone
test-fresh 11|2 test-fresh: '11' is none of --only, --keep, --ccache, 12 and 13
test-fresh --only|2 test-fresh: --only needs some of demo, test, windows and packages, as in --only demo,test
test-fresh --only demo,tests|2 test-fresh: 'tests' is none of demo, test, windows and packages
test-fresh --ccache README.md|2 test-fresh: --ccache needs a folder that everyone may write (chmod 777)
test-installed bookworm|2 test-installed: write a suite of Debian, like bookworm, and packages
test-installed ../bookworm a.deb|2 test-installed: '../bookworm' is not a suite of Debian; write one like bookworm
test-installed bookworm absent.deb|2 test-installed: 'absent.deb' is not a Debian package; name files that scripts/test-packages made, build/release/*.deb
test-installed bookworm README.md|2 test-installed: 'README.md' is not a Debian package; name files that scripts/test-packages made, build/release/*.deb
test-fleet many|2 test-fleet: 'many' is not a number of payloads; name one like 100000
test-fleet 5 6|2 test-fleet: '5 6' is not a number of payloads; name one like 100000
bare-system make bookworm|1 bare-system: write make SUITE FOLDER, run FOLDER USER COMMAND..., put FOLDER TARGET FILE... or remove FOLDER
demo --help|2 demo: '--help' is an option, and there are none; name a folder, or ./--help
demo folder another|2 demo: 'another' is too much; name one folder, or none
demo-fleet --help|2 demo-fleet: '--help' is not a number of devices, then --payloads N, --workers N or --port PORT, each with a number
demo-windows --help|2 demo-windows: '--help' is an option, and there are none; name a folder, or ./--help
bench --help|2 bench: '--help' is an option, and there are none; name a folder, or ./--help
fuzz long|2 fuzz: 'long' is not a number of seconds
fuzz 0|2 fuzz: '0' is not a number of seconds
fuzz 5 json jsn|2 fuzz: there is no fuzzer jsn; there are json, message, store, tool
END

# All that scripts/tidy looks at, where the folder has characters that mean something to a pattern.
tree="$work/c++ [1]/ä"
mkdir -p "$tree"/{scripts,build/tidy,tests/configuration} "$work/bin"
cp scripts/tidy "$tree/scripts/"
printf '#!/bin/sh\n' | tee "$tree/scripts/setup" >"$work/bin/cmake"
# shellcheck disable=SC2016 # for the script
printf '#!/bin/sh\nshift 2\necho "$*"\n' >"$tree/tests/configuration/tidy_test.sh"
chmod +x "$tree"/*/setup "$tree"/tests/*/* "$work/bin/cmake"
printf '  "file": "%s/%s"\n' "$tree" library/a.cc "$tree" build/tidy/library/b.cc "$tree" examples/c.cc >"$tree/build/tidy/compile_commands.json"
said=$(PATH="$work/bin:$PATH" "$tree/scripts/tidy")
[ "$said" = "library/a.cc examples/c.cc" ] || { echo "scripts_test: of library/a.cc and examples/c.cc scripts/tidy looks at '$said'" >&2; exit 1; }

# How scripts/test-windows starts the tests, and that no server of Wine's stays, with tools that only note how they are called.
tree="$work/windows ä"
mkdir -p "$tree"/{scripts,build/windows}
cp scripts/{test-windows,steps,compiler-cache,wine} "$tree/scripts/"
touch "$tree"/build/windows/ovix{,-debug}.zip
for tool in cmake cpack wineserver ctest setarch; do
  # shellcheck disable=SC2016 # for the script
  printf '#!/bin/sh\necho "%s $*" >>"$CALLS"\n' $tool >"$work/bin/$tool"
  chmod +x "$work/bin/$tool"
done
cp "$work/bin/cmake" "$tree/scripts/setup"
cp "$work/bin/cmake" "$tree/scripts/windows-libraries"
# shellcheck disable=SC2016 # for the scripts
{
  echo '[ "$WINEPREFIX" = "$PWD/build/windows/wine" ] || echo elsewhere >>"$CALLS"' >>"$work/bin/wineserver"
  echo 'exit $TESTS' >>"$work/bin/ctest"
  echo '[ $REFUSED = 0 ] || exit 1; shift; exec "$@"' >>"$work/bin/setarch"
}
while IFS='|' read -r refused tests calls says; do
  said=$(CALLS="$work/calls" REFUSED=$refused TESTS=$tests PATH="$work/bin:$PATH" "$tree/scripts/test-windows" 2>&1) || true
  called=$({ grep -A 9 -x 'setarch .* true' "$work/calls" || true; } | tr '\n' ';')
  [[ $called = "setarch --addr-no-randomize true;$calls;wineserver --kill;" && $said = *"test-windows: $says"* && ${said##*$'\n'} = "test-windows: "* ]] ||
    { echo "scripts_test: with setarch's $refused and ctest's $tests test-windows calls '$called' and says '$said'" >&2; exit 1; }
  rm "$work/calls"
done <<'END'
0|0|setarch --addr-no-randomize ctest --preset windows;ctest --preset windows|all passed
1|0|ctest --preset windows|Wine's addresses stay random, as setarch is refused here: about one program of 2,000 fails to start
0|8|setarch --addr-no-randomize ctest --preset windows;ctest --preset windows|FAILED after
END

# A compiler cache that is missing or does not work is not used, also where a build folder was configured with it.
mkdir "$work/other"
for tool in true bash basename cat cut dirname env flock find id mkdir mktemp realpath rm; do ln -s "$(type -P $tool)" "$work/other/$tool"; done
# shellcheck disable=SC2016 # the text of a script
mapfile -t kept < <(grep -l '^\. scripts/compiler-cache$' scripts/* 2>/dev/null | xargs grep -nE '\bcmake (--preset|-G|-S)' | grep -vF ' "${launcher[@]}"')
[ ${#kept[@]} = 0 ] || { echo "scripts_test: ${kept[*]}: keeps a launcher that may be gone; write \"\${launcher[@]}\"" >&2; exit 1; }
while IFS='|' read -r ccache variable expected; do
  printf '#!/bin/sh\n%s\n' "$ccache" >"$work/bin/ccache"
  chmod +x "$work/bin/ccache"
  [ -n "$ccache" ] || rm "$work/bin/ccache"
  # shellcheck disable=SC2016 # for the shell in there
  said=$(env -u CMAKE_CXX_COMPILER_LAUNCHER LC_ALL=C "$variable" PATH="$work/bin:$work/other" CXX=true bash -euc '. scripts/compiler-cache; echo "${launcher[@]}"' 2>&1 | xargs) || true
  [ "$said" = "$expected" ] || { echo "scripts_test: with the cache '$ccache' and $variable scripts/compiler-cache says '$said'" >&2; exit 1; }
done <<'END'
exec "$@"|A=1|-D CMAKE_CXX_COMPILER_LAUNCHER=ccache
exec "$@"|CMAKE_CXX_COMPILER_LAUNCHER=env;-i|-D CMAKE_CXX_COMPILER_LAUNCHER=env;-i
exec "$@"|CMAKE_CXX_COMPILER_LAUNCHER=other|CMAKE_CXX_COMPILER_LAUNCHER is other, which was not found; install it, or leave it unset
exec "$@"|TMPDIR=/no/such|mktemp: failed to create directory via template /no/such/tmp.XXXXXXXXXX: No such file or directory -D CMAKE_CXX_COMPILER_LAUNCHER=
|A=1|-D CMAKE_CXX_COMPILER_LAUNCHER=
echo no folder; echo more; exit 1|A=1|ccache does not work and is not used: no folder -D CMAKE_CXX_COMPILER_LAUNCHER=
exit 1|A=1|ccache does not work and is not used: exit code 1 -D CMAKE_CXX_COMPILER_LAUNCHER=
END

# However a demo ends early, its last line says so.
mkdir -p "$work/demos/scripts"
cp scripts/demo scripts/demo-* "$work/demos/scripts/"
# shellcheck disable=SC2016 # for the shell in there
for ends in "exit 1" 'kill -TERM $PPID' 'kill -HUP $PPID'; do
  printf '#!/bin/sh\n%s\n' "$ends" >"$work/demos/scripts/setup"
  chmod +x "$work/demos/scripts/setup"
  for demo in scripts/demo scripts/demo-*; do
    said=$("$work/demos/$demo" 2>&1 | tail -n 1) || true
    [[ $said = "${demo#scripts/}: FAILED after "* ]] || { echo "scripts_test: where '$ends' ends $demo it says '$said'" >&2; exit 1; }
  done
done

# What gets packages of Debian's says so where there is no Debian.
mkdir -p "$work/tree"
cp -r scripts "$work/tree/"
while IFS='|' read -r command expected; do
  # shellcheck disable=SC2086 # words
  said=$(PATH="$work/other" OVIX_CACHE="$work/cache" "$work/tree/scripts/"$command 2>&1) && said="passed: $said"
  [ "$said" = "$expected" ] || { echo "scripts_test: without apt-get scripts/$command says '$said'" >&2; exit 1; }
done <<'END'
windows-libraries|windows-libraries: apt-get was not found; what is linked is Debian's, so run this on Debian 12 or 13
arm64-libraries|arm64-libraries: apt-get was not found; what is linked is Debian's, so run this on Debian 12 or 13
END

# A second run would remove the system that the first one works in.
mkdir -p "$work/tree/build/fresh"
said=$(exec 8>"$work/tree/build/fresh/lock" && flock 8 && OVIX_SETUP=refused "$work/tree/scripts/test-fresh" 2>&1 8>&-) && said="passed: $said"
[ "$said" = "test-fresh: another run is at work in build/fresh; wait until it ends" ] ||
  { echo "scripts_test: next to another run test-fresh says '$said'" >&2; exit 1; }
echo "scripts_test: ${#scripts[@]} scripts"
