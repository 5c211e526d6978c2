"""Holds Python's protobuf runtime against cases that write_cases has written.

Usage: read_cases.py CONTRACTS.BINPB CASES
"""

import collections
import json
import sys

from contracts import Contracts, same
from google.protobuf.internal import api_implementation
from google.protobuf.message import DecodeError

PURE = api_implementation.Type() == "python"


def check(contracts, name, data, oddities, accepted, encoded, values):
    message = contracts.new(name)
    try:
        message.ParseFromString(data)
    except (DecodeError, UnicodeDecodeError):
        return "refuses what is accepted" if accepted else None
    if not accepted:
        # It reads up to the end of a group that has not begun, and the pure runtime tags and lengths of more
        # than five bytes.
        odd = "g" in oddities or (PURE and set("lt") & set(oddities))
        return None if odd else "accepts what is refused"
    # To it a negative zero is zero, which is not written; and a field whose tag is longer than it need be
    # is an unknown one, for it looks fields up by the bytes of their tags.
    if PURE and set("tz") & set(oddities):
        return None
    # It keeps unknown fields as they came, and no bits of a NaN.
    if not (PURE and set("nv") & set(oddities)) and message.SerializeToString() != encoded:
        return "encodes to other bytes"
    return None if same(contracts.values(message), json.loads(values)) else "has other values"


def main(contracts_path, cases_path):
    contracts = Contracts(contracts_path)
    problems = collections.Counter()
    count = 0
    with open(cases_path, encoding="utf-8", newline="\n") as cases:
        for line in cases:
            name, data, oddities, accepted, *rest = line.rstrip("\n").split("\t", 5)
            encoded, values = rest or ("", "")
            problem = check(
                contracts, name, bytes.fromhex(data), oddities, accepted == "1",
                bytes.fromhex(encoded), values
            )
            count += 1
            if problem:
                problems[problem] += 1
                if problems[problem] <= 5:
                    print(f"python: {name}: {problem}: {data}", file=sys.stderr)
    print(f"python ({api_implementation.Type()}): {count} cases, {sum(problems.values())} differ {dict(problems)}")
    return 1 if problems or not count else 0


sys.exit(main(*sys.argv[1:]))
