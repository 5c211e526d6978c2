#!/usr/bin/env bash
# Readers in Python, JavaScript, Java, Go and Rust read the corpus of every release, odd cases, and random and damaged
# messages as this library does, except for the differences that docs/readers.md lists; and the programs of that page
# read a payload. scripts/setup readers installs what they need.
# Usage: readers_test.sh BUILD   BUILD has the library and the target write-cases.
set -euo pipefail
export PYTHONDONTWRITEBYTECODE=1
here=$(cd "$(dirname "$0")" && pwd)
root=$(cd "$here/../.." && pwd)
build=$(cd "$1" && pwd)
out=$root/build/readers
page=$root/docs/readers.md
contracts=$build/library/contracts.binpb
message=ovix.telemetry.contract.upload.log.hardware.HwBatteryHealthLogAsCDM
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
if ! [[ -d $out/jars && -d $out/python ]]; then
  echo "readers_test: the runtimes are not installed; run scripts/setup readers" >&2
  exit 2
fi

# The program that the page has in a language, to a file; written only where it changed.
program() {
  awk -v fence="\`\`\`$1" '$0 == fence { inside = 1; next } $0 == "```" { inside = 0 } inside' "$page" >"$work/program"
  [ -s "$work/program" ] || { echo "readers_test: $page has no program in $1" >&2; exit 1; }
  mkdir -p "$(dirname "$2")"
  cmp -s "$work/program" "$2" || cp "$work/program" "$2"
}

program python "$out/page/read_payload.py"
program javascript "$out/page/read_payload.mjs"
program java "$out/page/ReadPayload.java"
program go "$out/go/read-payload/main.go"
program rust "$out/rust/src/bin/read-payload.rs"
program cpp "$out/page/read_payload.cc"

program sh "$out/generate.sh"
program "java generated" "$out/page/ReadGenerated.java"
program "python generated" "$out/page/read_generated.py"
program "javascript generated" "$out/generated/read_generated.mjs"
program "go generated" "$out/generated/read-generated/main.go"
program "rust build" "$out/rust/build.rs"
program "rust generated" "$out/rust/src/bin/read-generated.rs"

cp -p "$here"/go/go.* "$out/go"
mkdir -p "$out/go/read-cases" "$out/bin" "$out/classes"
cp -p "$here/go/main.go" "$out/go/read-cases"
export GOTOOLCHAIN=local GOFLAGS="-buildvcs=false -mod=readonly"
(cd "$out/go" && go build -o "$out/bin/" ./read-cases ./read-payload google.golang.org/protobuf/cmd/protoc-gen-go)
cp -p "$here"/rust/Cargo.* "$out/rust"
cp -p "$here/rust/src/main.rs" "$out/rust/src"
cmp -s "$contracts" "$out/rust/contracts.binpb" || cp "$contracts" "$out/rust"
(cd "$out/rust" && cargo build -q --locked --offline --target-dir "$out/rust/target")
javac -Xlint:all -Werror -cp "$out/jars/*" -d "$out/classes" "$here/java/ReadCases.java"
g++ -std=c++17 -Wall -Wextra -Werror -I"$root/library/include" -isystem "$build/library/generated" \
  "$out/page/read_payload.cc" -o "$out/bin/read-payload-cpp" \
  "$build"/library/libovix-telemetry-data-contracts.so -lprotobuf "-Wl,-rpath,$build/library"

# The classes that the page generates, from an include folder like the installed one.
install -m 755 "$out"/jars/protoc-*.exe "$out/bin/protoc"
rm -rf "$out/include" "$out/generated/ovix"
mkdir "$out/include"
cp -r "$root/ovix" "$out/include"
(cd "$out/include" && jar -xf "$out"/jars/protobuf-java-[0-9]*.jar google/protobuf/descriptor.proto)
(cd "$out" && PATH=$out/bin:$root/node_modules/.bin:$PATH bash -euo pipefail generate.sh 2>"$work/log") || { cat "$work/log" >&2; exit 1; }
javac -cp "$out/jars/*" -sourcepath "$out/generated" -d "$out/classes" "$out/page/ReadGenerated.java"
sed 's/^module .*/module contracts/' "$here/go/go.mod" >"$out/generated/go.mod"
cp "$here/go/go.sum" "$out/generated"
(cd "$out/generated" && go build -o "$out/bin/" ./read-generated)

"$build/tests/write-cases" given "$here/odd_cases.txt" >"$work/cases"
"$build/tests/write-cases" random 60 1 >>"$work/cases"
: >"$work/corpus"
for corpus in "$root"/compat/*/corpus.binpb; do
  "$build/tests/write-cases" corpus "$corpus" >>"$work/corpus" || {
    echo "readers_test: $corpus is damaged" >&2
    exit 1
  }
done
cat "$work/corpus" >>"$work/cases"

failed=0
reader() {
  local name=$1
  shift
  /usr/bin/python3 "$here/hold_reader.py" "$page" "$name" "$contracts" "$work/cases" -- "$@" || failed=1
}
reader python-upb "$out/python/bin/python" "$here/read_cases.py"
reader javascript node "$here/read_cases.mjs"
reader java java -cp "$out/classes:$out/jars/*" ReadCases
reader go "$out/bin/read-cases"
reader rust "$out/rust/target/debug/read-cases"

payload() {
  local language=$1
  shift
  /usr/bin/python3 "$here/hold_program.py" "$language" "$work/corpus" "$message" -- "$@" || failed=1
}
payload python "$out/python/bin/python" "$out/page/read_payload.py" "$contracts" "$message" "{payload}"
payload javascript node "$out/page/read_payload.mjs" "$contracts" "$message" "{payload}"
payload java java -cp "$out/jars/*" "$out/page/ReadPayload.java" "$contracts" "$message" "{payload}"
payload go "$out/bin/read-payload" "$contracts" "$message" "{payload}"
payload rust "$out/rust/target/debug/read-payload" "$contracts" "$message" "{payload}"
payload "generated java" java -cp "$out/classes:$out/jars/*" ReadGenerated "{payload}"
payload "generated python" env PYTHONPATH="$out/generated" "$out/python/bin/python" "$out/page/read_generated.py" "{payload}"
payload "generated javascript" node "$out/generated/read_generated.mjs" "{payload}"
payload "generated go" "$out/bin/read-generated" "{payload}"
payload "generated rust" "$out/rust/target/debug/read-generated" "{payload}"
payload c++ "$out/bin/read-payload-cpp" "{payload}"

[ "$failed" = 0 ] && echo "readers_test: passed"
exit "$failed"
