#!/usr/bin/env bash
# protoc runs again for a schema that changed and for those that import it, and for nothing else, wherever the tree
# lies. What is put into generated code is put in everywhere, or the build fails and leaves nothing half-written.
# Usage: generation_test.sh SOURCE_DIR CMAKE GENERATOR PROTOC
set -euo pipefail
source=$1 cmake=$2 generator=$3 protoc=$4
folder=$(mktemp -d)
trap 'rm -rf "$folder"' EXIT
# Characters that make and ninja, CMake or a shell read otherwise.
work="$folder/a b ü (c) {d} @e"
mkdir "$work"

fail() {
  echo "generation_test: $*" >&2
  exit 1
}

mkdir "$work/tree"
cp -R "$source"/{CMakeLists.txt,cmake,library,ovix} "$work/tree"
"$cmake" -G "$generator" -S "$work/tree" -B "$work/build" -DOVIX_BUILD_TESTS=OFF \
  -DOVIX_BUILD_EXAMPLES=OFF -DOVIX_BUILD_TOOL=OFF -DOVIX_PACKAGES=OFF >/dev/null

# Prints the schemas that a build generates from, one a line.
generated() {
  "$cmake" --build "$work/build" --target ovix-generated-contracts >"$work/log" || { cat "$work/log" >&2; return 1; }
  sed -n 's/.*Generating //p' "$work/log" | LC_ALL=C sort
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

# --- Every string field is tested for plain ASCII before the runtime validates it; a build in which protoc's code
# is not as expected says so, and the files of before stay.

mkdir -p "$work/kinds/one"
cat >"$work/kinds/one/kinds.proto" <<'END'
syntax = "proto3";
import "google/protobuf/descriptor.proto";
message Kinds {
  string plain = 1 [json_name = "[a;b]", (text) = "type: TYPE_STRING\n }"];
  repeated string many = 2;
  optional string maybe = 3;
  oneof either {
    string this = 4;
    int32 that = 5;
  }
  map<string, string> texts = 6;
  map<int32, Inner> inners = 7;
  bytes raw = 8;
  string old = 9 [deprecated = true];
  repeated string olds = 10 [deprecated = true];
  message Inner {
    string key = 1;
    string value = 2;
  }
}
extend google.protobuf.FieldOptions {
  string text = 50000;
}
END
imports=$(sed -n 's/^ *\([^ ]*\)\/google\/protobuf\/descriptor.proto.*/\1/p' \
  "$work/build/library/generated/$storage/storage_options.pb.d")
generate() { # PROTOC
  "$cmake" -D PROTOC="$1" -D IMPORT_ROOT="$work/kinds" -D PROTOBUF_IMPORTS="$imports" -D OUTPUT_ROOT="$work/kinds" \
    -D STAGING_ROOT="$work/staging" -D SCHEMA=one/kinds.proto -P "$source/library/generate_contract.cmake" \
    >"$work/log" 2>&1
}
generate "$protoc" || { cat "$work/log"; fail "a schema with string fields of every kind was not generated"; }
! grep -E '_pbi::VerifyUTF8\(|WireFormatLite::VerifyUtf8String\(' "$work/kinds/one/kinds.pb.cc" ||
  fail "the calls above of the runtime's validator of UTF-8 are still there"
[ -z "$(find "$work/staging" -type f -not -name '*.lock')" ] || fail "files are left in the staging folder"

# Two builds of one folder at once, one from an editor and one from a shell, say.
printf '#!/bin/sh\n"%s" "$@" && sleep 1\n' "$protoc" >"$work/protoc"
chmod +x "$work/protoc"
generate "$work/protoc" &
first=$!
sleep 0.5
generate "$work/protoc" || { cat "$work/log"; fail "the second of two builds at once failed"; }
wait $first || { cat "$work/log"; fail "the first of two builds at once failed"; }

# A protoc that writes one thing otherwise, as another release may: a call, an insertion point, an extension; one member
# of a class, and all of them.
while read -r suffix edit; do
  cat >"$work/protoc" <<END
#!/bin/sh
"$protoc" "\$@" || exit
case "\$*" in *--decode*) exit ;; esac
sed -i '$edit' "$work/staging/one/kinds.pb.$suffix"
END
  chmod +x "$work/protoc"
  before=$(cd "$work/kinds/one" && sha256sum ./*.pb.*)
  ! generate "$work/protoc" || fail "code that could not be adapted ($edit) was taken"
  tr -s ' \n' ' ' <"$work/log" | grep -qE 'one/kinds.proto: (its [0-9]+ string fields|it has [0-9]+ (extensions|messages),|protoc (left no|wrote))' ||
    { cat "$work/log"; fail "the schema and what is wrong with its code ($edit) are not named"; }
  [ "$before" = "$(cd "$work/kinds/one" && sha256sum ./*.pb.*)" ] || fail "a failed run changed the files ($edit)"
done <<'EDITS'
cc 0,/_pbi::VerifyUTF8(str,/s//_pbi::VerifyUTF8( str,/
cc 0,/WireFormatLite::VerifyUtf8String(/s//WireFormatLite::VerifyUtf8(/
cc s/@@protoc_insertion_point(includes)//
cc s/INIT_PRIORITY2 ::PROTOBUF_NAMESPACE_ID::internal::ExtensionId/::PROTOBUF_NAMESPACE_ID::internal::ExtensionId/
h s/@@protoc_insertion_point(includes)//
h 0,/inline void Swap(/s//inline  void Swap(/
h s/ final :/ :/; s/^  /    /
EDITS
echo "generation_test: passed"
