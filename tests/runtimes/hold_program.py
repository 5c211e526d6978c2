#!/usr/bin/python3
"""Holds a program of docs/readers.md against one payload: the longest of a message in a file of cases.

{payload} in the command is the payload's file. The program must print the message's gun and version in one line and
then its values as JSON, as this library reads them; and it must fail with the payload that has lost its last byte.

Usage: hold_program.py LANGUAGE CASES MESSAGE -- COMMAND...
"""

import json
import os
import subprocess
import sys
import tempfile

from contracts import same


def problem(case, run):
    """Runs the program by run(bytes) with the payload of a case and with a damaged one; what is wrong, or None."""
    _, gun, version, data, *_, values = case
    data = bytes.fromhex(data)
    done = run(data)
    if done.returncode:
        return f"ended with {done.returncode}: {done.stderr[-2000:]}"
    options, _, printed = done.stdout.partition("\n")
    if options != f"{gun} {version}":
        return f"prints the options '{options}', not '{gun} {version}'"
    if not same(json.loads(printed), json.loads(values)):
        return f"prints the values {printed}, not {values}"
    return None if run(data[:-1]).returncode else "reads a payload that is cut off"


def main(language, cases, message, separator, *command):
    assert separator == "--"
    with open(cases, encoding="utf-8", newline="\n") as file:
        lines = [line.rstrip("\n").split("\t", 7) for line in file]
    case = max((line for line in lines if line[0] == message), key=lambda line: len(line[3]))
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "payload.binpb")

        def run(data):
            with open(path, "wb") as file:
                file.write(data)
            arguments = [path if argument == "{payload}" else argument for argument in command]
            return subprocess.run(arguments, capture_output=True, encoding="utf-8", check=False)

        found = problem(case, run)
    print(f"{language}: the page's program {found or 'reads the payload'}", file=sys.stderr if found else sys.stdout)
    return 1 if found else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
