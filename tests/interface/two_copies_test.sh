#!/usr/bin/env bash
# Each way in which one process gets the contracts twice: the protobuf runtime must end it, in the words that
# docs/library.md explains.
# Usage: two_copies_test.sh BUILD_DIR CXX
set -euo pipefail
build=$1 cxx=$2
root=$(cd "$(dirname "$0")/../.." && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
library=$build/library/libovix-telemetry-data-contracts.so
generated=$build/library/generated
schema=ovix/telemetry/contract/storage/cache
failed=0

# Ends as expected: by the abort, after the words, which name a schema of ours.
expect_abort() {
  local way=$1
  shift
  local output code=0
  output=$("$@" 2>&1) || code=$?
  if [ $code != 134 ] || ! grep -Eq \
    'File already exists in database: ovix/telemetry/contract/|Multiple extension registrations for type "google.protobuf' \
    <<<"$output"; then
    echo "two_copies_test: $way: ended with $code and said: ${output:0:400}" >&2
    failed=1
  fi
}

compile() { "$cxx" -std=c++20 -w -fPIC -I"$root/library/include" -isystem "$generated" "$@"; }

cat >"$work/main.cc" <<'END'
#include <dlfcn.h>

#include <cstdio>

#include "ovix/telemetry/contract/contracts_collection.h"

int main(int argc, char** argv) {
  ovix::telemetry::contract::ContractsCollection contracts;
  if (contracts.Next() == nullptr) return 1;
  if (argc > 1 && dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) == nullptr) std::puts(dlerror());
  return 0;
}
END
: >"$work/empty.cc"
compile "$work/main.cc" -o "$work/program" "$library" -lprotobuf -Wl,-rpath,"$build/library"
"$work/program" || { echo "two_copies_test: the program does not run with one copy" >&2; exit 1; }

# A program that compiled a schema itself, hidden from others, and links the library too.
protoc -I"$root" -I/usr/include --cpp_out="$work" "$schema.proto"
compile -fvisibility=hidden -I"$work" -c "$work/$schema.pb.cc" -o "$work/schema.o"
compile "$work/main.cc" "$work/schema.o" -o "$work/compiled" "$library" -lprotobuf -Wl,-rpath,"$build/library"
expect_abort "a program with a schema of ours compiled in" "$work/compiled"

# A plug-in that compiled it, loaded by a program that links the library.
"$cxx" -shared "$work/schema.o" -o "$work/plugin.so" -lprotobuf
expect_abort "a plug-in with a schema of ours compiled in" "$work/program" "$work/plugin.so"

# The library under another name: a second version next to the first, or a private copy.
mapfile -t objects < <(find "$build"/library/CMakeFiles/ovix-contracts-{generated,frame}.dir -name '*.o')
"$cxx" -shared -Wl,-soname,libovix-telemetry-data-contracts.so.0 "${objects[@]}" -o "$work/libovix-telemetry-data-contracts.so.0" -lprotobuf
expect_abort "two versions of the library" "$work/program" "$work/libovix-telemetry-data-contracts.so.0"
"$cxx" -Wl,--no-as-needed "$work/empty.cc" -shared -o "$work/user.so" "$work/libovix-telemetry-data-contracts.so.0" -Wl,-rpath,"$work"
expect_abort "a plug-in that needs another version" "$work/program" "$work/user.so"

[ $failed = 0 ] && echo "two_copies_test: every way in ends as documented"
exit $failed
