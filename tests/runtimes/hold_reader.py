#!/usr/bin/python3
"""Holds a reader, a program on another protobuf runtime, against cases that write_cases has written.

The reader gets the descriptor set as its last argument and cases as lines: message, bytes (hexadecimal). It
answers each by a line: the message's gun and version, and if it accepts the bytes also what it encodes them to
(hexadecimal) and their values as protobuf's JSON with the schema's names. It knows neither what is expected
nor what is odd.

Where its answer is another than this library's, a row of the table in the page must say so, for this reader,
this difference and one of the case's oddities. A row that explains no difference alone fails too: the
runtime has changed, and the page is not true any more.

Usage: hold_reader.py PAGE READER CONTRACTS.BINPB CASES -- COMMAND...
"""

import collections
import json
import re
import subprocess
import sys

from contracts import same

# What a reader can do with a case other than this library, as the page names it.
DIFFERENCES = ("refuses", "accepts", "bytes", "values")


def known_differences(page, reader):
    """The rows (oddity, difference) that the page has of a reader."""
    row = re.compile(r"\| (`[^|]*`) \| `(\w)` \| (\w+) \|")
    with open(page, encoding="utf-8") as file:
        rows = [match.groups() for match in map(row.match, file) if match]
    if not rows:
        raise SystemExit(f"hold_reader: {page} has no table of differences")
    for *_, difference in rows:
        if difference not in DIFFERENCES:
            raise SystemExit(f"hold_reader: {page}: there is no difference '{difference}', only {', '.join(DIFFERENCES)}")
    return {(oddity, difference) for names, oddity, difference in rows if f"`{reader}`" in names.split(", ")}


def differences(case, answer):
    """What is another in a reader's answer; an option that is another is never known."""
    _, gun, version, _, _, accepted, *expected = case
    if answer[:2] != [gun, version]:
        return ["options"]
    if len(answer) == 2:
        return ["refuses"] if accepted == "1" else []
    if accepted != "1":
        return ["accepts"]
    found = [] if answer[2] == expected[0] else ["bytes"]
    return found if same(json.loads(answer[3]), json.loads(expected[1])) else [*found, "values"]


def main(page, reader, contracts, path, separator, *command):
    assert separator == "--"
    known = known_differences(page, reader)
    with open(path, encoding="utf-8", newline="\n") as file:
        cases = [line.rstrip("\n").split("\t", 7) for line in file]
    lines = "".join(f"{case[0]}\t{case[3]}\n" for case in cases)
    run = subprocess.run([*command, contracts], input=lines.encode(), capture_output=True, check=False)
    answers = [line.split("\t", 3) for line in run.stdout.decode().split("\n")[:-1]]
    if run.returncode or len(answers) != len(cases) or not cases:
        said = run.stderr.decode(errors="replace")[-2000:]
        print(f"{reader}: ended with {run.returncode} after {len(answers)} of {len(cases)} cases\n{said}", file=sys.stderr)
        return 1
    explained, unknown = collections.Counter(), collections.Counter()
    for case, answer in zip(cases, answers):
        for difference in differences(case, answer):
            rows = {(oddity, difference) for oddity in case[4]} & known
            if len(rows) == 1:
                explained.update(rows)
            if rows:
                continue
            unknown[difference] += 1
            if unknown[difference] <= 5:
                print(f"{reader}: {difference}: {case[0]} {case[3]} (oddities '{case[4]}'): {answer}", file=sys.stderr)
    for oddity, difference in sorted(known - explained.keys()):
        print(f"{reader}: {page} has the difference {oddity} {difference}, which does not occur", file=sys.stderr)
    summary = ", ".join(f"{oddity} {difference} {count}" for (oddity, difference), count in sorted(explained.items()))
    print(f"{reader}: {len(cases)} cases, known differences: {summary or 'none'}; {sum(unknown.values())} unknown")
    return 1 if unknown or known - explained.keys() else 0


if __name__ == "__main__":
    sys.exit(main(*sys.argv[1:]))
