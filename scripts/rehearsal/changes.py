"""The changes that a year brings to the contracts, made as docs/adding-a-contract.md says."""

import glob
import lzma
import os
import re

from rehearsal.run import Failed

CONTRACTS = "ovix/telemetry/contract"
SYSTEM = f"{CONTRACTS}/storage/device_profile/operating_system.proto"
FIRMWARE = f"{CONTRACTS}/upload/device_profile/fwComponentsInfoAsCDM.proto"
BATTERY = f"{CONTRACTS}/storage/device_health/battery.proto"
DATABASES = f"{CONTRACTS}/storage/db.proto"
RECORD = f"{CONTRACTS}/storage/device_health/rehearsal_fan_log.proto"
RECORD_OF_DATABASE = f"{CONTRACTS}/storage/device_health/rehearsal_room_log.proto"

NEW_COLUMN = "OperatingSystem.rehearsal_edition"


def edit(root, name, pattern, replacement):
    """Changes the one place of a file that matches."""
    path = os.path.join(root, name)
    with open(path, encoding="utf-8") as file:
        text = file.read()
    text, count = re.subn(pattern, replacement, text, flags=re.M | re.S)
    if count != 1:
        raise Failed(f"{name} has {count} places that match {pattern!r}, not one; correct scripts/rehearsal/changes.py")
    with open(path, "w", encoding="utf-8") as file:
        file.write(text)


def append(root, name, kind, element, lines):
    """Adds lines to the end of a message or enumeration; NUMBER in them is the next one that is free."""
    def added(found):
        number = max(map(int, re.findall(r"^  (?!option ).*= (\d+)(?: \[[^;]*\])?;", found[2], re.M))) + 1
        return found[1] + found[2] + lines.replace("NUMBER", str(number)) + found[3]

    edit(root, name, rf"^({kind} {element} {{\n)(.*?)(^}})", added)


def released_abi(root, release):
    """The number in the SONAME of a frozen release."""
    described = sorted(glob.glob(os.path.join(root, "compat", release, "abi-*.xml.xz")))  # all have the same number
    with lzma.open(described[0], "rt", encoding="utf-8") as file:
        return int(re.search(r" soname='[^']*\.so\.(\d+)'", file.readline())[1])


def raise_minor(version):
    major, minor, _ = version.split(".", 2)
    return f"{major}.{int(minor) + 1}.0"


def make(run, root, release, version):
    """Makes all of them in a clone; `run` runs a command there. Returns what was made."""
    def refused(rule):
        said = run(["scripts/check-contracts"], status=1)
        if not re.search(rf": {rule}: ", said):
            raise Failed(f"scripts/check-contracts does not refuse by the rule {rule} what lacks its raise")

    run(["scripts/new-contract", "record", "RehearsalFanLog", "--folder", "device_health", "--database", "HealthLog",
         "--about", "One reading of a fan."])
    append(root, RECORD, "message", "RehearsalFanLog",
           "  // Privacy: identifier\n  string serial_number = NUMBER;\n")
    append(root, RECORD, "message", "RehearsalFanLog", "  // Unit: /min\n  uint32 speed = NUMBER;\n")
    run(["scripts/new-contract", "payload", "PcRehearsalFanLogAsCDM", "--folder", "log/hardware", "--record",
         "RehearsalFanLog", "--about", "One reading of a fan."])

    append(root, SYSTEM, "message", "OperatingSystem", "  // Values: unspecified\n  string rehearsal_edition = NUMBER;\n")
    abi = released_abi(root, release) + 1
    edit(root, "CMakeLists.txt", r"^set\(OVIX_ABI_VERSION \d+\)", f"set(OVIX_ABI_VERSION {abi})")

    append(root, FIRMWARE, "message", "FwBios", "  // Source: none\n  optional string rehearsal_channel = NUMBER;\n")
    refused("payload-version")
    edit(root, FIRMWARE, r'(^  option \(cdm\)\.version = ")([^"]*)', lambda found: found[1] + raise_minor(found[2]))

    with open(os.path.join(root, DATABASES), "a", encoding="utf-8") as file:
        file.write("\n// What the sensors of the room report.\nmessage RehearsalRoom {\n"
                   "  option (persistance).database.max_size_mb = 16;\n\n"
                   "  // Never written: a message needs a body.\n  // Values: 0\n  uint32 do_not_use = 1;\n}\n")
    refused("database-marker")
    run(["scripts/new-contract", "record", "RehearsalRoomLog", "--folder", "device_health", "--database", "RehearsalRoom",
         "--about", "One reading of a room.", "--max-rows", "1000"])

    append(root, SYSTEM, "enum", "OSArchitecture", "  REHEARSAL_ARCH_128_BITS = NUMBER;\n")
    edit(root, BATTERY, r"(^message BatteryReportMetricsLog {\n)", r"\1  option deprecated = true;\n")
    append(root, BATTERY, "message", "BatteryReportMetricsLog",
           "  // Format: unspecified\n  string rehearsal_life = NUMBER [deprecated = true];\n")

    run(["scripts/check-contracts", "--fix"])
    edit(root, "CMakeLists.txt", r"^  VERSION [\d.]+$", f"  VERSION {version}")
    edit(root, "CHANGELOG.md", r"^## Unreleased\n", "## Unreleased\n\n- The changes of a year, for a rehearsal.\n")
    run(["git", "add", "-A"])
    run(["git", "commit", "--quiet", "-m", "Make the changes of a year"])
    return f"2 records, 1 payload, 1 database, 3 fields, 1 value, 1 deprecated message; OVIX_ABI_VERSION {abi}"


def newest(root):
    """The newest frozen release, and the minor one after it."""
    releases = [os.path.basename(path) for path in glob.glob(os.path.join(root, "compat", "*.*.*"))]
    release = max(releases, key=lambda name: tuple(map(int, name.split("."))))
    return release, raise_minor(release)
