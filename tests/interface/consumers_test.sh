#!/usr/bin/env bash
# What a program sees of the library must not depend on how the program was built: by GCC and clang, with and
# without optimisation, position-independent or not, each with a schema of its own and with a second shared
# library that has one too. And a program that loads the library by hand may unload it and load it again.
# Usage: consumers_test.sh LIBRARY SOURCE_ROOT GENERATED PROTOC GCC CLANG
set -euo pipefail
library=$1 root=$2 generated=$3 protoc=$4 gcc=$5 clang=$6
here=$root/tests/interface/consumers
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT

"$protoc" -I "$here" -I "$root" --cpp_out="$work" program.proto plugin.proto

# Warnings of generated code are not ours.
flags=(-std=c++17 -w "-I$here" "-I$work" "-I$generated" "-I$root/library/include")
link=("$library" -lprotobuf "-Wl,-rpath,$(dirname "$library")" "-Wl,-rpath,$work")
kinds=(
  "gcc-O0-pie $gcc -O0 -fPIE -pie"
  "gcc-O0-no-pie $gcc -O0 -fno-pie -no-pie"
  "gcc-O2-pie $gcc -O2 -fPIE -pie"
  "gcc-O2-no-pie $gcc -O2 -fno-pie -no-pie"
  "clang-O0-pie $clang -O0 -fPIE -pie"
  "clang-O0-no-pie $clang -O0 -fno-pie -no-pie"
  "clang-O2-pie $clang -O2 -fPIE -pie"
  "clang-O2-no-pie $clang -O2 -fno-pie -no-pie"
)

# Runs the commands that it reads, one a line, side by side. A folder's name may have a space.
side_by_side() { xargs -d '\n' -P "$(nproc)" -I {} bash -c '{}'; }
line() { printf '%q ' "$@" && echo; }

for compiler in gcc clang; do
  line "${!compiler}" "${flags[@]}" -O2 -fPIC -shared "$here/plugin.cc" -o "$work/lib$compiler-plugin.so" "$library" -lprotobuf
done | side_by_side
{
  for kind in "${kinds[@]}"; do
    read -ra words <<<"$kind"
    name=${words[0]}
    line "${words[@]:1}" "${flags[@]}" "$here/program.cc" -o "$work/$name" "$work/lib${name%%-*}-plugin.so" "${link[@]}"
  done
  line "$gcc" -std=c++17 -Wall -Wextra "$here/load_by_hand.cc" -o "$work/load-by-hand" -lprotobuf
} | side_by_side

failed=0
for kind in "${kinds[@]}"; do
  name=${kind%% *}
  status=0
  output=$("$work/$name" 2>&1) || status=$?
  if [ "$status" = 0 ]; then
    echo "$name: passed"
  else
    echo "consumers_test: $name failed ($status)${output:+: $output}" >&2
    failed=1
  fi
done
"$work/load-by-hand" "$library" || { echo "consumers_test: loading by hand failed ($?)" >&2; failed=1; }
[ "$failed" = 0 ] && echo "consumers_test: passed"
exit "$failed"
