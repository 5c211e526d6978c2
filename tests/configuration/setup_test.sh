#!/usr/bin/env bash
# What scripts/setup asks for, says and refuses, with package managers that only note how they are called.
# Usage: setup_test.sh SOURCE_DIR
set -euo pipefail
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
mkdir -p "$work"/{bin,tree/scripts}
cp "$1/scripts/setup" "$work/tree/scripts/"
cp "$1/package-lock.json" "$1/requirements.txt" "$work/tree/"
cd "$work/tree"
failed=0

# On the PATH is only what is put there.
for tool in bash basename cat chmod cmp cp cut dirname du echo env flock grep head ln mkdir realpath rm sed sha256sum sort tail xargs awk; do
  ln -s "$(type -P "$tool")" "$work/bin/$tool"
done
fake() { # NAME SCRIPT
  rm -f "$work/bin/$1"
  printf '#!%s\n%s\n' "$BASH" "$2" >"$work/bin/$1"
  chmod +x "$work/bin/$1"
}
# shellcheck disable=SC2016 # for the fakes
{
  for tool in g++ cmake ninja pkg-config protoc abidw ccache chromium clang++ clang-format clang-tidy fish zsh git shellcheck xz node npm readelf; do
    fake $tool 'echo "version 99.1"'
  done
  fake sleep 'echo "sleep $*" >>"$CALLS"; rm -f "$LOCKED"'
  fake df 'printf "Filesystem\n/dev/x 1 1 ${FREE:-90000} 1%% /\n"'
  fake id 'echo "${USER_ID:-0}"'
  fake dpkg-query 'for name in "${@:4}"; do [[ " ${ABSENT:-} " = *" $name "* ]] || echo "$name installed"; done'
  fake apt-cache '[[ $2 != cargo-web ]]'
  fake apt-get 'echo "apt-get $* ($DEBIAN_FRONTEND $https_proxy)" >>"$CALLS"
    if [ $1 = update ] && [ -e "$LOCKED" ]; then echo "E: Could not get lock /var/lib/apt/lists/lock."; exit 100; fi
    [ $1 = update ] || [ -z "$FAILS" ] || { printf "Reading lists\n%s\nE: and more\n" "$FAILS"; exit 100; }
    [ $1 = update ] || printf "#!%s\n" "$BASH" >"'"$work"'/bin/ninja"; [ $1 = update ] || chmod +x "'"$work"'/bin/ninja"'
  fake sudo 'kept=(PATH="$PATH" CALLS="$CALLS" FAILS="$FAILS"); names=${1#--preserve-env=}; shift
    for name in ${names//,/ }; do kept+=("$name=${!name}"); done; echo sudo >>"$CALLS"; exec env -i "${kept[@]}" "$@"'
  npm='echo "npm $*" >>"$CALLS"; [ -z "$FAILS" ] || { printf "one\n%s\n" "$FAILS"; exit 1; }; mkdir -p node_modules; : >node_modules/.package-lock.json'
  # Knows where packages are, and of one what all that it was asked for have.
  python_program='[[ $2 != *purelib* ]] || exec echo "$PWD/build/test/python/lib/python3.98/site-packages"
    [ -e "${0%/bin/*}/whole" ] && [ "${*:3}" = "codespell open-data-contract-standard" ]'
}

# One run: its exit code, what it says, how it calls package managers; "" says or calls nothing. A refusal is one line.
check() { # NAME CODE SAYS CALLS [VARIABLE=VALUE]... PURPOSE...
  local name=$1 code=$2 says=$3 calls=$4 actual=0
  shift 4
  local variables=()
  while [[ ${1:-} = *=* ]]; do variables+=("$1") && shift; done
  : >"$work/calls"
  env -i PATH="$work/bin" CALLS="$work/calls" LOCKED="$work/locked" FAILS= https_proxy=http://proxy:1 "${variables[@]}" scripts/setup "$@" >"$work/out" 2>"$work/errors" || actual=$?
  local problem=
  [ $actual = "$code" ] || problem="ended with $actual, not $code"
  if [ -n "$says" ]; then grep -qF -- "$says" "$work/out" "$work/errors"; else [ ! -s "$work/out" ]; fi || problem="did not say '$says'"
  if [ -n "$calls" ]; then tr '\n' ';' <"$work/calls" | grep -qE -- "$calls"; else [ ! -s "$work/calls" ]; fi || problem="did not call '$calls', but '$(cat "$work/calls")'"
  [ "$code" = 0 ] || [ "$name" = "no apt" ] || [ "$(wc -l <"$work/errors")" = 1 ] || problem="did not refuse in one line"
  [ "$code" != 0 ] || [ ! -s "$work/errors" ] || problem="wrote errors"
  [ -z "$problem" ] || { cat "$work/out" "$work/errors"; echo "setup_test: $name: $problem"; failed=1; }
}
without() { # COMMAND NAME CODE ...: the same without a command
  mv "$work/bin/$1" "$work/$1"
  check "${@:2}"
  mv -f "$work/$1" "$work/bin/$1"
}

check "all is there" 0 "" ""
check "a purpose that is none" 2 "'tests' is none of build, test" "" tests
check "another word for skip" 2 "OVIX_SETUP is 'yes'; leave it unset, or write OVIX_SETUP=skip" "" OVIX_SETUP=yes
check "a library that is missing" 0 "zlib1g-dev                     packs batches" "^apt-get update .*;apt-get install .* --no-remove .* zlib1g-dev \(noninteractive" ABSENT=zlib1g-dev
check "a command from elsewhere" 0 "" "" ABSENT="cmake g++"
without ninja "a command that is missing" 0 "ninja-build                    runs the build" "apt-get install .* ninja-build " ABSENT=ninja-build
without ninja "by sudo" 0 "sudo runs apt-get update and apt-get install" "^sudo;apt-get update.*;sudo;apt-get install.*ninja-build \(noninteractive http://proxy:1\)" \
  ABSENT=ninja-build USER_ID=1000
without sudo "no sudo" 1 "this needs root, and there is no sudo; as root run: apt-get install --no-install-recommends zlib1g-dev" "" ABSENT=zlib1g-dev USER_ID=1000
without apt-get "no apt" 1 "  g++                            compiles the library" ""
check "skipped" 0 "" "" OVIX_SETUP=skip ABSENT="ninja-build zlib1g-dev"
without ninja "skipped, but missing" 1 "ninja was not found (runs the build); install what is missing (Debian: apt-get install ninja-build)" "" \
  OVIX_SETUP=skip ABSENT=ninja-build
without ccache "skipped, without what is not missed" 0 "" "" OVIX_SETUP=skip
check "no network" 1 "apt-get failed: E: Unable to fetch some archives; check the network, its proxy and the disk" "apt-get install" \
  ABSENT=zlib1g-dev FAILS="E: Unable to fetch some archives"
touch "$work/locked"
check "another apt-get" 0 "setup: waiting for another apt-get" "^apt-get update [^;]*;sleep 5;apt-get update [^;]*;apt-get install " ABSENT=zlib1g-dev
check "no space" 1 "MiB, but build needs 400 at least; free some" "" FREE=90
check "the name in this release" 1 "E: stop; check the network" "install .* cargo \(non" ABSENT="cargo cargo-web" FAILS="E: stop" readers
mv build "$work/build"
touch build
check "no folder to build in" 1 "tree/build is not a folder that you may write to; change its owner or remove it, or build a copy of this tree" "" OVIX_SETUP=skip
rm build
mv "$work/build" build
fake cmake 'echo "cmake version 3.18.4"'
for skip in "" skip; do
  check "an old CMake, $skip" 1 "bin/cmake is version 3.18.4, but 3.25 or newer is needed (configures the build); install" "" OVIX_SETUP=$skip
done
fake cmake 'echo "cmake version 3.25.0"'
# Its name has numbers, and is in the line that has its version.
fake qemu-aarch64 'echo "version 99.1"'
# shellcheck disable=SC2016 # for the fake
fake aarch64-linux-gnu-g++ '[ "$1" = -dumpversion ] && echo 11 || echo "aarch64-linux-gnu-g++ (Debian 11.2.0) 11.2.0"'
check "an old cross compiler" 1 "bin/aarch64-linux-gnu-g++ is version 11, but 12 or newer is needed (compiles for arm64); install" "" arm64

# Pinned packages.
python=build/test/python
python_environment() {
  mkdir -p "$python/bin"
  fake python "$python_program"
  mv "$work/bin/python" "$python/bin/python"
}
mkdir -p "$python/lib/$(basename "$(realpath /usr/bin/python3)")" $python/lib/python3.98/site-packages
python_environment
touch $python/whole
cp requirements.txt $python/.installed
fake npm "$npm"
check "skipped without npm's packages" 1 "node_modules was not found, and OVIX_SETUP=skip; run npm ci --ignore-scripts" "" OVIX_SETUP=skip test
mkdir node_modules
check "skipped with some of npm's packages" 1 "node_modules is not complete, and OVIX_SETUP=skip; run npm ci --ignore-scripts" "" OVIX_SETUP=skip test
touch node_modules/.package-lock.json
check "skipped, installed by npm" 0 "" "" OVIX_SETUP=skip test
check "npm fails" 1 "npm ci failed: npm error code ENOTFOUND; check the network" "^npm ci" FAILS="npm error code ENOTFOUND" test
check "after a failure" 0 "installing the packages of package-lock.json" "^npm ci --ignore-scripts" test
check "again" 0 "" "" test
# Two at once: the second waits, and then has nothing to do.
rm -rf node_modules
fake npm "[ ! -e busy ] || exit 1; touch busy; $(type -P sleep) 1; rm busy; $npm"
: >"$work/calls"
env -i PATH="$work/bin" CALLS="$work/calls" FAILS= scripts/setup test >"$work/first" 2>&1 &
env -i PATH="$work/bin" CALLS="$work/calls" FAILS= scripts/setup test >"$work/second" 2>&1 && wait $! ||
  { cat "$work/first" "$work/second"; echo "setup_test: two at once: one failed"; failed=1; }
[ "$(cat "$work/calls")" = "npm ci --ignore-scripts --no-progress --loglevel=error" ] || { echo "setup_test: two at once: called '$(cat "$work/calls")'"; failed=1; }
fake npm "$npm"
echo >>package-lock.json
check "other packages" 0 "installing the packages of package-lock.json" "^npm ci" test
check "skipped, with other packages" 0 "" "" OVIX_SETUP=skip test
# A folder made by hand, as the list says.
check "the list" 0 "  python3 -m venv $python && $python/bin/pip install --no-deps --require-hashes --no-build-isolation -r requirements.txt" "" --list test
rm -r $python
check "skipped without Python's packages" 1 "$python was not found, and OVIX_SETUP=skip; run python3 -m venv $python && $python/bin/pip install --no-deps" "" \
  OVIX_SETUP=skip test
mkdir -p $python/lib/python3.9{7,8,9}/site-packages
check "skipped with an empty environment" 1 "$python is not complete, and OVIX_SETUP=skip; run python3 -m venv $python && $python/bin/pip" "" OVIX_SETUP=skip test
python_environment
cp requirements.txt $python/.installed
check "skipped with some of Python's packages" 1 "$python is not complete" "" OVIX_SETUP=skip test
rm $python/.installed
touch $python/whole
# Made by hand once, and once more with another Python.
for link in none gone python3.97; do
  [ $link = none ] || ln -sfn lib/$link/site-packages $python/packages
  check "skipped, made by hand, the link $link" 0 "" "" OVIX_SETUP=skip test
  [ $python/packages -ef $python/lib/python3.98/site-packages ] || { echo "setup_test: skipped, made by hand, the link $link: $python/packages is another folder"; failed=1; }
done
while read -r purpose command; do check "the list, $purpose" 0 "  $command" "" --list "$purpose"; done <<'END'
readers mvn -f tests/runtimes/java/pom.xml dependency:copy-dependencies
readers env -C tests/runtimes/go GOTOOLCHAIN=local go mod download
readers cargo fetch --locked --manifest-path tests/runtimes/rust/Cargo.toml
fleet python3 -m venv build/fleet/venv && build/fleet/venv/bin/pip install --no-deps
END

# What the readers need, from four more registries.
readers=tests/runtimes
mkdir -p $readers/{java,go,python}
echo pom >$readers/java/pom.xml
touch $readers/python/requirements.txt
printf '%s  %s\n' "$(echo jar | sha256sum | cut -d' ' -f1)" a.jar >$readers/java/packages.sha256
mkdir -p "build/readers/python/lib/$(basename "$(realpath /usr/bin/python3)")"
python=build/readers/python
# shellcheck disable=SC2016 # for the fake
python_program='[[ $2 != *purelib* ]] || echo "$PWD/build/readers/python"'
python_environment
touch $python/.installed
# shellcheck disable=SC2016 # for the fakes
{
  for tool in javac mvn cargo; do fake $tool 'echo "version 99.1"'; done
  fake mvn '[ "$1" != --version ] || exec echo "version 99.1"; echo "mvn ${*: -2:1}" >>"$CALLS"; folder=${*: -1}; folder=${folder#*=}; mkdir -p "$folder"; echo "${JAR:-jar}" >"$folder/a.jar"'
  fake cargo '[ "$1" != --version ] || exec echo "version 99.1"; echo "cargo $*" >>"$CALLS"'
  fake go '[ "$*" != "env GOVERSION" ] || exec echo "go${GO:-99.1}"; [ "$1" != --version ] || exit 2; echo "go $* ($GOTOOLCHAIN)" >>"$CALLS"'
}
mkdir -p build/readers/jars
check "skipped with no jars" 1 "build/readers/jars is not complete, and OVIX_SETUP=skip; run mvn -f" "" OVIX_SETUP=skip readers
touch build/readers/jars/old.jar
check "skipped, jars by hand" 0 "" "" OVIX_SETUP=skip readers
check "the readers" 0 "setup: installing the packages of $readers/java/pom.xml" \
  "^mvn -DincludeScope=runtime;go mod download \(local\);cargo fetch -q --locked --manifest-path $readers/rust/Cargo.toml;$" readers
rm build/readers/jars/.installed
check "another jar" 1 "the packages in build/readers/jars are not those of $readers/java/packages.sha256" "^mvn [^;]*;$" JAR=other readers
check "an old Go" 1 "bin/go is version 1.18, but 1.19 or newer is needed" "" GO=1.18 OVIX_SETUP=skip readers
# Two lists of Python's packages for one folder.
mkdir -p examples/fleet
echo a==1 >examples/fleet/requirements-build.txt
echo b==2 >examples/fleet/requirements.txt
python=build/fleet/venv
# shellcheck disable=SC2016 # for the fake
python_program='[[ $2 != *purelib* ]] || exec echo "$PWD/build/fleet/venv"; [ "${*:3}" = "a b" ]'
python_environment
fake ps ''
check "skipped, with both lists" 0 "" "" OVIX_SETUP=skip fleet
# The room that the build folder has is there for the next build.
fake du 'printf "1000\tbuild\n"'
check "space in the build folder" 0 "" "" FREE=90 OVIX_SETUP=skip build
[ $failed = 0 ] && echo "setup_test: passed"
exit $failed
