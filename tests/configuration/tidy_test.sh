#!/usr/bin/env bash
# What clang-tidy finds wrong with the C++ by the checks of .clang-tidy, which says why each is there. It takes ten seconds for each file: without
# names it looks at those in which most pointers are kept, moved and freed. scripts/tidy looks at all.
# Usage: tidy_test.sh SOURCE_DIR BUILD_DIR [FILE...]    BUILD_DIR has compile_commands.json and what is generated
set -euo pipefail
cd "$1"
build=$2
shift 2
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
fail() {
  echo "tidy_test: $*" >&2
  exit 1
}
# Each version finds other things; the sources are free of what this one finds.
version=14
tidy=$(command -v clang-tidy-$version || command -v clang-tidy) || fail "clang-tidy was not found; run scripts/setup test"
if ! "$tidy" --version | grep -q "version $version\."; then
  echo "tidy_test: skipped: this needs clang-tidy $version, and this is $("$tidy" --version | grep -m1 version | xargs)"
  exit 77
fi

# It finds what it is for: a fault for each kind of check, in its line.
faults='bugprone-use-after-move|size_t a(std::string v) { std::string w = std::move(v); return w.size() + v.size(); }
bugprone-infinite-loop|int b(int n) { int i = 0, m = 0; while (i < n) ++m; return m; }
bugprone-sizeof-container|size_t c(std::string v) { return sizeof(v); }
bugprone-suspicious-string-compare|bool d(const char* v) { return std::strcmp(v, "b") == 2; }
bugprone-signed-char-misuse|int e(signed char v) { int w = v; return w; }
bugprone-unused-return-value|void f(std::string v) { std::remove(v.begin(), v.end(), v[0]); }
clang-analyzer-core.NullDereference|int g(int* v) { if (v == nullptr) return *v; return 0; }
clang-analyzer-cplusplus.NewDelete|int h() { int* v = new int(1); delete v; return *v; }
clang-analyzer-cplusplus.InnerPointer|char i() { const char* v; { std::string w("a"); v = w.c_str(); } return *v; }
performance-move-const-arg|std::string j(const std::string& v) { return std::move(v); }'
{
  cut -d'|' -f 2 <<<"$faults"
  printf '#include <%s>\n' algorithm cstring string utility
} | tac >"$work/faults.cc"
said=$("$tidy" --quiet --config-file=.clang-tidy "$work/faults.cc" -- -std=c++20 2>/dev/null || true)
while IFS='|' read -r check code; do
  line=$(grep -nF -- "$code" "$work/faults.cc")
  grep -qE "faults.cc:${line%%:*}:.* error: .*\[$check," <<<"$said" || fail "does not call '$code' $check, but says: $said"
done <<<"$faults"

[ $# -gt 0 ] || set -- library/src/{contracts_collection,utf8}.cc library/tables/tables.cc \
  tool/terminal/{input,folder}.cc tool/contracts/contracts.cc tool/wire/wire.cc tool/json/reader.cc tool/payload/hash.cc \
  examples/agent/store/{store,sqlite,writer}.cc examples/agent/collectors/smbios.cc examples/agent/uploader/payloads.cc
for file in "$@"; do [ -f "$file" ] || fail "$file does not exist; correct the list of files"; done
started=$SECONDS
printf '%s\0' "$@" | xargs -0 -n 1 -P 2 "$tidy" --quiet --extra-arg=-Wno-unknown-warning-option -p "$build" >"$work/said" 2>"$work/errors" || {
  cat "$work/said"
  fail "fix what is found above, or say with NOLINT(CHECK) next to it why it is right"
}
echo "tidy_test: $# files in $((SECONDS - started)) s"
