"""Compiles a function that needs hardening by the very command of each source that is shipped, and looks at the outcome.

Usage: hardening_probe.py BUILD_DIR NM READELF [--guards-only] ROOM ...
Each ROOM is a folder; the sources in it, or generated into its counterpart in the build, are held to what is promised:
a guarded stack, and but for --guards-only calls of the C library that check sizes, at the highest level that the compiler
and the C library know, and code that control-flow enforcement can watch.
"""

import argparse
import collections
import json
import pathlib
import platform
import shlex
import subprocess
import sys
import tempfile

PROBE = """
#include <cstdlib>
#include <cstring>
// The sizes are known as it is compiled; and as it runs, which level 3 checks.
char Guarded(const char* text) { char copy[64]; std::strcpy(copy, text); return copy[static_cast<int>(copy[0])]; }
void* Copied(const char* text, std::size_t room, std::size_t size) {
  void* copy = std::malloc(room);
  return copy == nullptr ? nullptr : std::memcpy(copy, text, size);
}
"""
# What the compiler can do when it is asked for nothing but that.
BEST = ["-O2", "-U_FORTIFY_SOURCE", "-D_FORTIFY_SOURCE=3"]


def flags_of(entry):
    """The command without its source, its output and what it writes for the build."""
    words = shlex.split(entry["command"])
    kept, skip = [], False
    for word in words:
        if skip:
            skip = False
        elif word in ("-o", "-c", "-MT", "-MF"):
            skip = True
        elif word != "-MD":
            kept.append(word)
    return tuple(kept)


def main(build, nm, readelf, guards_only, rooms):
    build = pathlib.Path(build)
    by_flags, seen = collections.defaultdict(list), collections.Counter()
    for entry in json.loads((build / "compile_commands.json").read_text()):
        for room in rooms:
            if f"/{room}/" in entry["file"]:
                by_flags[flags_of(entry)].append(entry["file"])
                seen[room] += 1
                break
    wrong = 0

    def report(files, what):
        nonlocal wrong
        wrong += 1
        print(f"hardening_probe: {files[0]}" + (f" and {len(files) - 1} more" if len(files) > 1 else "") + f": {what}",
              file=sys.stderr)

    for room in rooms:
        if not seen[room]:
            report([room], "no source of it is compiled")
    with tempfile.TemporaryDirectory() as work:
        source, output = pathlib.Path(work, "probe.cc"), pathlib.Path(work, "probe.o")
        source.write_text(PROBE)

        def compiled(command, directory):
            subprocess.run([*command, "-w", "-c", str(source), "-o", str(output)], cwd=directory, check=True)
            symbols = subprocess.run([nm, "-u", output], capture_output=True, text=True, check=True).stdout
            notes = subprocess.run([readelf, "-n", output], capture_output=True, text=True, check=False).stdout
            return symbols, notes

        for flags, files in by_flags.items():
            symbols, notes = compiled(flags, build)
            if "__stack_chk_fail" not in symbols:
                report(files, "stacks are not guarded (-fstack-protector-strong)")
            if guards_only:
                continue
            compiler = flags[:2] if flags[0].endswith("ccache") else flags[:1]
            best, _ = compiled([*compiler, *BEST], build)
            for call in ("__strcpy_chk", "__memcpy_chk"):
                if call in best and call not in symbols:
                    report(files, f"no {call}: calls of the C library are not checked as well as they can be (_FORTIFY_SOURCE)")
            if platform.machine() == "x86_64" and not ("IBT" in notes and "SHSTK" in notes):
                report(files, "code cannot be watched by control-flow enforcement (-fcf-protection)")
    print(f"hardening_probe: {seen.total()} sources compiled in {len(by_flags)} ways, {wrong} faults")
    return 1 if wrong else 0


parser = argparse.ArgumentParser()
parser.add_argument("build")
parser.add_argument("nm")
parser.add_argument("readelf")
parser.add_argument("--guards-only", action="store_true")
parser.add_argument("rooms", nargs="+")
arguments = parser.parse_args()
sys.exit(main(arguments.build, arguments.nm, arguments.readelf, arguments.guards_only, arguments.rooms))
