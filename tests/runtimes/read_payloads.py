"""Reads payloads with Python's protobuf runtime, knowing the contracts only from the descriptor set.

Usage: read_payloads.py CONTRACTS.BINPB DIR...   Each DIR holds payloads, labels and values.
"""

import glob
import hashlib
import json
import os
import sys

from contracts import Contracts, read, same


def options_of(contracts, name):
    """The options gun, version, type and database, empty where the schema sets none."""
    found = contracts.options(name)
    cdm, persistance = found.get("cdm"), found.get("persistance")
    return {
        "gun": cdm.gun if cdm else "",
        "version": cdm.version if cdm else "",
        "type": persistance.type if persistance else "",
        "database": persistance.database.name if persistance else "",
    }


def check(contracts, folder, label):
    name = label["message"]
    payload = os.path.join(folder, label["payload"])
    data = read(payload)
    if "sha256" in label and hashlib.sha256(data).hexdigest() != label["sha256"]:
        return "the hash is not the label's"
    if label.get("bytes", len(data)) != len(data):
        return "the size is not the label's"
    options = options_of(contracts, name)
    for option in options.keys() & label.keys():
        if options[option] != label[option]:
            return f"option {option} is {options[option]!r}, the label has {label[option]!r}"
    message = contracts.new(name)
    message.ParseFromString(data)
    if message.SerializeToString() != data:
        return "encodes to other bytes"
    values = contracts.values(message)
    if not same(values, json.loads(read(payload + ".values"))):
        return f"has other values: {values}"
    return None


def main(contracts_path, folders):
    contracts = Contracts(contracts_path)
    failed = count = 0
    for folder in folders:
        for path in sorted(glob.glob(os.path.join(folder, "*.json"))):
            count += 1
            label = json.loads(read(path))
            problem = check(contracts, folder, label)
            if problem:
                failed += 1
                print(f"python: {label['message']}: {problem}", file=sys.stderr)
    print(f"python: {count} payloads read, {failed} differ")
    return 1 if failed or not count else 0


sys.exit(main(sys.argv[1], sys.argv[2:]))
