#!/usr/bin/python3
"""Writes records and payloads with scripts/new-contract into the small tree tests/contracts, and sees every check pass;
and asks for what cannot be, and sees one line and nothing written.

Usage: new_contract_test.py SOURCE_DIR
"""

import os
import subprocess
import sys
import tempfile

ROOT = os.path.abspath(sys.argv[1])
sys.path[:0] = [os.path.join(ROOT, "scripts"), os.path.join(ROOT, "tests", "contracts")]
sys.dont_write_bytecode = True
import tree  # noqa: E402
from contracts import check, frame  # noqa: E402

RECORD = ["record", "FanLog", "--folder", "device", "--database", "Log", "--about", "One fan."]
STATE = ["record", "Fan", "--folder", "device", "--database", "Profile", "--about", "One fan.", "--type", "State"]
PAYLOAD = ["payload", "PcFanAsCDM", "--folder", "device", "--about", "One fan."]


def other(command, *changes):
    """A command with other values for some of its options; without those that are None."""
    command = list(command)
    for option, value in zip(changes[::2], changes[1::2]):
        if option == "NAME":
            command[1] = value
        elif option not in command:
            command += [option, value]
        elif value is None:
            del command[command.index(option):command.index(option) + 2]
        else:
            command[command.index(option) + 1] = value
    return command


# The command, the schema, and lines that it has.
WRITTEN = [
    (RECORD, "storage/device/fan_log.proto", ["package ovix.telemetry.contract.storage.device;", "// One fan.",
                                              "table.max_time_days = 180;", "  string time = 1;"]),
    (other(RECORD, "NAME", "FanSum", "--max-rows", "10"), "storage/device/fan_sum.proto", ["table.max_rows = 10;"]),
    (other(RECORD, "NAME", "Short", "--folder", "."), "storage/short.proto", ["package ovix.telemetry.contract.storage;"]),
    (other(STATE, "--key", "fan_id"), "storage/device/fan.proto", ["fan_id = 2 [(column).constraint.pk = true];"]),
    (other(PAYLOAD, "--record", "BootLog"), "upload/device/pc_fan_as_cdm.proto", [
        "// Source: ovix.telemetry.contract.storage.device.BootLog", ".category.pcFan.version.1", 'version = "1.0.0"',
        "// Source: none, set by the uploader.", "// Privacy: identifier", "  message BootPhase {",
        "  // Source: ovix.telemetry.contract.storage.device.BootPhase", "  repeated BootPhase phases = 6;"]),
    (other(PAYLOAD, "NAME", "PcWidthAsCDM", "--record", "System"), "upload/device/pc_width_as_cdm.proto", [
        "// Source: version, renamed.", "system_version = 4;",
        "// Source: architecture, retyped from Architecture to string: the name of its value."]),
    (other(PAYLOAD, "NAME", "PcNothingAsCDM"), "upload/device/pc_nothing_as_cdm.proto", ["// Source: none"]),
    (other(PAYLOAD, "NAME", "PcTwoAsCDM", "--gun", "com.ovix.cdm.domain.telemetry.type.eventDetail.category.two.version.2"),
     "upload/device/pc_two_as_cdm.proto", ['version = "2.0.0"']),
]

# The command, and what its one line says.
REFUSED = [
    (other(RECORD, "NAME", "BootLog", "--folder", "."), "database Log has a table of this name"),
    (other(RECORD, "NAME", "BootPhase"), "the name is taken by ovix/telemetry/contract/storage/device/boot.proto"),
    (other(RECORD, "NAME", "System_Events"), "is not the name of a record"),
    (other(RECORD, "NAME", "Boot", "--database", "Profile"), "the name is taken by ovix/telemetry/contract/storage/device/boot.proto"),
    (other(RECORD, "NAME", "fan"), "is not the name of a record"),
    (other(RECORD, "NAME", "FanAsCDM"), "is not the name of a record"),
    (other(RECORD, "--folder", "devize"), "did you mean device?"),
    (other(RECORD, "--folder", "../upload/device"), "has no such folder"),
    (other(RECORD, "--database", "Logg"), "did you mean Log?"),
    (other(RECORD, "--database", "Fans"), "add a marker"),
    (other(RECORD, "--about", "Fan"), "is not a sentence"),
    (other(RECORD, "--about", "One fan runs.\nUnit: fan."), "Unit does not belong here"),
    (other(RECORD, "--about", os.fsdecode(b"One f\xffn.")), "has what is not text"),
    (other(RECORD, "--folder", ""), "folder '': is empty"),
    (other(PAYLOAD, "--gun", ""), "gun '': is empty"),
    (other(RECORD, "NAME", "Aux"), "Windows can have no file aux.proto"),
    (other(RECORD, "NAME", "Fan\nLog"), "is not the name of a record"),
    (other(RECORD, "--max-days", "0"), "is not a limit"),
    (other(RECORD, "--max-days", "many"), "invalid int value"),
    (other(RECORD, "--key", "fan_id"), "only a table of --type State"),
    (STATE, "such a table has a key"),
    (other(STATE, "--key", "FanId"), "is not the name of a column"),
    (other(STATE, "--key", "serial_number"), "its name looks personal"),
    (other(PAYLOAD, "NAME", "PcFan"), "is not the name of a payload"),
    (other(PAYLOAD, "NAME", "PcBootAsCDM"), "the name is taken"),
    (other(PAYLOAD, "--record", "BootLg"), "did you mean BootLog?"),
    (other(PAYLOAD, "--record", "BootPhase"), "is not a record"),
    (other(PAYLOAD, "--gun", "pcFan"), "is not the name of a payload"),
    (other(PAYLOAD, "--gun", "com.ovix.cdm.domain.telemetry.type.eventDetail.category.pcBoot.version.1"), "is the gun of"),
    (other(RECORD, "--about", None), "required: --about"),
]


def run(base, command):
    script = os.path.join(ROOT, "scripts", "new-contract")
    return subprocess.run([script, "--root", base, *command], capture_output=True, text=True)


def content(base):
    paths = [os.path.join(folder, name) for folder, _, names in os.walk(base) for name in names]
    return {path: open(path, "rb").read() for path in paths}


def main():
    with tempfile.TemporaryDirectory() as folder:
        base = os.path.join(folder, "base")
        failures = tree.make(base)
        before = content(base)
        for command, expected in REFUSED:
            done = run(base, command)
            if done.returncode not in (1, 2) or done.stderr.count("\n") != 1 or expected not in done.stderr:
                failures.append(f"{command}: expected one line with '{expected}': {done.returncode} {done.stderr}")
            if content(base) != before:
                failures.append(f"{command}: was refused, but wrote something")
                before = content(base)
        try:
            frame.write(base, {"README.md": "new", "no such folder/page": "new"})
        except FileNotFoundError:
            pass
        if content(base) != before:
            failures.append("of two files one could not be written, and something is left of the other")
        frozen = os.path.join(base, "compat", "1.0.0", "contracts.binpb")
        for damage in (b"x", before[frozen][:-1], b""):
            with open(frozen, "wb") as file:
                file.write(damage)
            done = run(base, RECORD)
            if done.stderr.count("\n") != 1 or "is not a descriptor set" not in done.stderr:
                failures.append(f"a release of {len(damage)} bytes: {done.returncode} {done.stderr}")
        with open(frozen, "wb") as file:
            file.write(before[frozen])
        for command, schema, lines in WRITTEN:
            done = run(base, command)
            path = os.path.join(base, "ovix/telemetry/contract", schema)
            text = open(path, encoding="utf-8").read() if done.returncode == 0 and os.path.exists(path) else ""
            missing = [line for line in lines if line not in text]
            if missing:
                failures.append(f"{command}: {schema} lacks {missing}: {done.stderr or text}")
            declared = "remove from" if "--record" in command else "declare the fields in"
            following = done.stdout.splitlines()[-1:]
            if not following or f"now {declared} ovix/telemetry/contract/{schema} (the new schema)" not in following[0]:
                failures.append(f"{command}: does not say to {declared} the schema that it wrote, but {following}")
        failures += [f"after all: {finding}" for finding in check.find(base)[0]]
    for failure in failures:
        print(f"new_contract_test: {failure}", file=sys.stderr)
    print(f"new_contract_test: {len(WRITTEN)} schemas written, {len(REFUSED)} refused, {len(failures)} failed")
    return 1 if failures else 0


sys.exit(main())
