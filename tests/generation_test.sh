#!/usr/bin/env bash
# protoc runs again for a schema that changed and for those that import it, and for nothing else.
# Usage: generation_test.sh SOURCE_DIR CMAKE GENERATOR
set -euo pipefail
source=$1 cmake=$2 generator=$3
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

fail() {
  echo "generation_test: $*" >&2
  exit 1
}

mkdir "$work/tree"
cp -R "$source"/{CMakeLists.txt,cmake,library,ovix} "$work/tree"
"$cmake" -G "$generator" -S "$work/tree" -B "$work/build" -DOVIX_BUILD_TESTS=OFF \
  -DOVIX_BUILD_EXAMPLES=OFF -DOVIX_BUILD_TOOL=OFF >/dev/null

# Prints the schemas that a build generates from, one a line.
generated() {
  "$cmake" --build "$work/build" --target ovix-generated-contracts | sed -n 's/.*Generating //p' | LC_ALL=C sort
}
expect() {
  local what=$1 expected=$2 actual
  actual=$(generated)
  [ "$actual" = "$expected" ] || fail "$what generated: ${actual:-nothing}"
  echo "$what: $(grep -c . <<<"$actual" || true) generated"
}

storage=ovix/telemetry/contract/storage
all=$(cd "$source" && find ovix -name '*.proto' | LC_ALL=C sort)
expect "the first build" "$all"
# Text is tested for plain ASCII everywhere before the runtime validates it.
if grep -rlE '_pbi::VerifyUTF8\(|WireFormatLite::VerifyUtf8String\(' "$work/build/library/generated" | head -3 | grep .; then
  fail "the files above call the runtime's validator of UTF-8 themselves; see library/generate_contract.cmake"
fi
expect "a build with nothing changed" ""
sleep 1
echo "// changed" >>"$work/tree/$storage/acm_cache.proto"
expect "a changed schema" "$storage/acm_cache.proto"
echo "// changed" >>"$work/tree/$storage/state_change_utils.proto"
expect "a changed import" "$(cd "$source" && { grep -rl "import \"$storage/state_change_utils.proto\"" ovix; echo $storage/state_change_utils.proto; } | LC_ALL=C sort)"
sed -i 's/string time = 2/sting time = 2/' "$work/tree/$storage/acm_cache.proto"
if "$cmake" --build "$work/build" --target ovix-generated-contracts >"$work/log" 2>&1; then
  fail "a schema that does not compile built"
fi
grep -q "acm_cache.proto:[0-9]*:[0-9]*:" "$work/log" || fail "the line that does not compile is not named"
echo "generation_test: passed"
