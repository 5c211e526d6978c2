"""Reads cases with Python's protobuf runtime, knowing the contracts only from the descriptor set: see hold_reader.py.

Usage: read_cases.py CONTRACTS.BINPB <CASES >ANSWERS
"""

import json
import sys

from contracts import Contracts
from google.protobuf.message import DecodeError


def answer(contracts, name, data):
    cdm = contracts.options(name).get("cdm")
    options = [cdm.gun, cdm.version] if cdm else ["", ""]
    message = contracts.new(name)
    try:
        message.ParseFromString(data)
    except (DecodeError, UnicodeDecodeError):
        return options
    return [*options, message.SerializeToString().hex(), json.dumps(contracts.values(message))]


def main(contracts_path):
    contracts = Contracts(contracts_path)
    for line in sys.stdin:
        name, data = line.rstrip("\n").split("\t")
        print("\t".join(answer(contracts, name, bytes.fromhex(data))))


main(*sys.argv[1:])
