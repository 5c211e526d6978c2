"""Makes each kind of breaking change in a copy of the schemas and sees the gate refuse it in words that
tell what, and how to fix it; and makes changes that a release may make, which the gate lets pass.

Usage: check_contracts_test.py SOURCE_DIR OVIX_CONTRACTS
"""

import concurrent.futures
import os
import re
import shutil
import subprocess
import sys
import tempfile

ROOT, TOOL = (os.path.abspath(path) for path in sys.argv[1:])
CONTRACTS = "ovix/telemetry/contract/"
APPLICATION = CONTRACTS + "storage/device_profile/application.proto"
BOOT = CONTRACTS + "storage/device_health/boot.proto"
BATTERY = CONTRACTS + "storage/device_health/battery.proto"
SYSTEM = CONTRACTS + "storage/device_profile/operating_system.proto"
OPTIONS = CONTRACTS + "storage/storage_options.proto"
IDENTITY = CONTRACTS + "upload/device_profile/identityAsCDM.proto"
LIST = "library/contracts.cmake"
NEVER = "what was released never changes"
NEW_FIELD = ("  optional string tenant_id = 9;", "  optional string tenant_id = 9;\n  optional string domain = 12;")
VERSION = '(cdm).version = "1.1.0"'

# What is done (regular expression and replacement in a file), and what the gate must say; None: it passes.
CASES = [
    # The encoding.
    ("remove a field", [(APPLICATION, r"  string size = 5;\n", "")], "field \"5\" with name \"size\""),
    ("reserve a field's number", [(APPLICATION, r"  string size = 5;", "  reserved 5;")], "Application.size: "),
    ("renumber a field", [(APPLICATION, r"size = 5", "size = 13")], "5"),
    ("swap two numbers", [(APPLICATION, r"version = 4", "version = 50"), (APPLICATION, r"size = 5;", "size = 4;"), (APPLICATION, r"version = 50", "version = 5")], "Application"),
    ("rename a field", [(APPLICATION, r"string size", "string bytes")], "size"),
    ("change a field's type", [(APPLICATION, r"string size = 5", "uint64 size = 5")], "Application.size"),
    ("widen a field's type", [(SYSTEM, r"uint32 rowid = 1", "uint64 rowid = 1")], "rowid"),
    ("make a field repeated", [(APPLICATION, r"string size = 5", "repeated string size = 5")], "Application.size"),
    ("give a field presence", [(APPLICATION, r"string size = 5", "optional string size = 5")], "Application.size"),
    ("take a field's presence", [(IDENTITY, r"optional string model", "string model")], "IdentityAsCDM.model"),
    ("put fields into a oneof", [(APPLICATION, r"  string size = 5;", "  oneof extent {\n    string size = 5;\n  }")], "Application.size"),
    ("change a field's JSON name", [(APPLICATION, r"string size = 5", 'string size = 5 [json_name = "bytes"]')], "size"),
    ("take a text field's message", [(IDENTITY, r"optional DeviceRefInfo device", "optional string device")], "device_ref_info"),
    # Names and places.
    ("remove a message", [(BOOT, r"(?s)// One boot of the device.*\}\n", "// Nothing.\nmessage Other {}\n")], "BootHealthLog"),
    ("rename a message", [(BOOT, r"message BootHealthLog", "message BootLog")], "BootHealthLog"),
    ("change a package", [(BOOT, r"package (.*);", r"package \1.v2;")], "package"),
    ("remove a schema", [(BOOT, None, None), (LIST, r"  \S+/boot\.proto\n", "")], "boot.proto"),
    ("move a schema", [(BOOT, None, "start.proto"), (LIST, r"/boot\.proto", "/start.proto")], "boot.proto"),
    ("leave a schema out of the list", [(LIST, r"  \S+/boot\.proto\n", "")], "add or remove it there"),
    ("list schemas in another order", [(LIST, r"(  \S+/battery\.proto\n)(  \S+/boot\.proto\n)", r"\2\1")], "another order"),
    ("put fields in another order", [(APPLICATION, r"(?s)(  string version = 4;\n)(.*?)(  string size = 5;\n)", r"\3\2\1")], "order"),
    ("put messages in another order", [(IDENTITY, r"(?s)(// The device as another.*?\n\}\n\n)(.*)", r"\2\n\1")], "order"),
    ("remove an enumeration's value", [(SYSTEM, r"  OS_ARCH_64_BITS = \d+;\n", "")], "OS_ARCH_64_BITS"),
    ("rename an enumeration's value", [(SYSTEM, r"OS_ARCH_64_BITS", "OS_ARCH_WIDE")], "OS_ARCH_64_BITS"),
    ("renumber an enumeration's value", [(SYSTEM, r"OS_ARCH_64_BITS = \d+", "OS_ARCH_64_BITS = 9")], "OS_ARCH_64_BITS"),
    ("renumber an extension", [(OPTIONS, r"(persistance = )\d+", r"\g<1>60001")], "persistance"),
    # What the store goes by.
    ("move a table to another database", [(BOOT, r'name = "HealthLog"', 'name = "DeviceHealth"')], "DeviceHealth"),
    ("change a table's kind", [(BOOT, r'"Historical"', '"Cache"')], "BootHealthLog"),
    ("change a time limit", [(BOOT, r"max_time_days = 360", "max_time_days = 365")], "365"),
    ("give a table a limit", [(APPLICATION, r"(\.type = \"State\";)", r"\1\n  option (persistance).table.max_rows = 5;")], "5"),
    ("take a key's column", [(APPLICATION, r"vendor = 3 \[.*?\]", "vendor = 3")], "vendor"),
    ("add a column to a key", [(APPLICATION, r"version = 4", "version = 4 [(column).constraint.pk = true]")], "version"),
    # What the cloud goes by.
    ("change a gun", [(IDENTITY, r"pcIdentity\.version", "pcWho.version")], "pcWho"),
    ("take another payload's gun", [(IDENTITY, r"pcIdentity\.version", "pcDeviceInfo.version")], "gun"),
    ("lower a version", [(IDENTITY, re.escape(VERSION), '(cdm).version = "1.0.9"')], "1.0.9"),
    ("remove the options of a payload", [(IDENTITY, r"  option \(cdm\).*\n", "")], "IdentityAsCDM"),
    ("add a field without a new version", [(IDENTITY, *map(str, NEW_FIELD))], "set version 1.2.0"),
    ("add a field with a new patch alone", [(IDENTITY, *NEW_FIELD), (IDENTITY, re.escape(VERSION), '(cdm).version = "1.1.1"')], "set version 1.2.0"),
    ("add a field to a payload's part without a new version", [(IDENTITY, r"  optional string id_type = 2;", "  optional string id_type = 2;\n  optional string place = 3;")], "set version 1.2.0"),
    ("raise the major version, not the gun", [(IDENTITY, re.escape(VERSION), '(cdm).version = "2.0.0"')], "gun"),
    # What new schemas must be like.
    ("add a field in camel case", [(BOOT, r"(post_code_value = 2;)", r"\1\n  string bootTime = 3;")], "lower_snake_case"),
    ("add a schema that does not follow the standard", [(CONTRACTS + "storage/newThing.proto", "", 'syntax = "proto3";\n\npackage ovix.telemetry.contract.storage;\n\nmessage thing {\n  string a = 1;\n}\n'), (LIST, r"\)\n$", "  " + CONTRACTS + "storage/newThing.proto)\n")], "newThing.proto"),
    # What a release may do.
    ("nothing", [], None),
    ("add a record's field", [(BOOT, r"(post_code_value = 2;)", r"\1\n  string boot_time = 3;")], None),
    ("add a payload's field and raise the version", [(IDENTITY, *NEW_FIELD), (IDENTITY, re.escape(VERSION), '(cdm).version = "1.2.0"')], None),
    ("add an enumeration's value", [(SYSTEM, r"(  OS_ARCH_64_BITS = \d+;)", r"\1\n  OS_ARCH_128_BITS = 9;")], None),
    ("add a message", [(BOOT, r"$", "\n// Another.\nmessage BootCount {\n  string time = 1;\n}\n")], None),
    ("change a comment", [(BOOT, r"One boot of the device", "One start of the device")], None),
]

# The same against a release that states facts in its comments, which is made of these schemas.
PRIVACY = r"(  // Privacy: )identifier(\n  string serial_number)"
FACTS = [
    ("lower a privacy class", [(IDENTITY, PRIVACY, r"\1interaction\2")], "privacy class lowered from identifier to interaction"),
    ("change a format", [(IDENTITY, r"Format: GUID", "Format: hexadecimal")], "format changed from GUID to hexadecimal"),
    ("narrow a closed list", [(OPTIONS, r'Values: "State", "Historical"', 'Values: "State"')], "closed list of values changed"),
    ("change prose and add a fact", [(IDENTITY, r"  string product_id", "  // The product.\n  // Privacy: identifier\n  string product_id")], None),
]


def change(root, path, pattern, replacement):
    path = os.path.join(root, path)
    if pattern is None:  # away, or to another name
        if replacement is None:
            os.remove(path)
        else:
            os.rename(path, os.path.join(os.path.dirname(path), replacement))
        return
    if pattern == "":  # a new file
        before, after = "", replacement
    else:
        with open(path, encoding="utf-8") as file:
            before = file.read()
        after = re.sub(pattern, replacement, before, count=1)
    if after == before:
        sys.exit(f"check_contracts_test: {pattern!r} changes nothing in {path}")
    with open(path, "w", encoding="utf-8") as file:
        file.write(after)


def freeze(root):
    """Makes a release of the schemas in a folder, with a gate of its own."""
    frozen = os.path.join(root, "compat", "1.0.0")
    os.makedirs(frozen)
    os.makedirs(os.path.join(root, "scripts"))
    gate = shutil.copy(os.path.join(ROOT, "scripts", "check-contracts"), os.path.join(root, "scripts"))
    os.symlink(os.path.join(ROOT, "node_modules"), os.path.join(root, "node_modules"))
    shutil.copy(os.path.join(root, LIST), frozen)
    with open(os.path.join(root, LIST), encoding="utf-8") as file:
        schemas = re.findall(r"^  (ovix/\S+\.proto)$", file.read(), re.MULTILINE)
    binpb = os.path.join(frozen, "contracts.binpb")
    subprocess.run(
        ["protoc", "-I.", "--include_imports", "--include_source_info", f"--descriptor_set_out={binpb}", *schemas],
        cwd=root, check=True,
    )
    return gate


def run(case, against_itself=False):
    name, edits, expected = case
    with tempfile.TemporaryDirectory() as root:
        for part in ("ovix", "buf.yaml", LIST):
            source, target = os.path.join(ROOT, part), os.path.join(root, part)
            if os.path.isdir(source):
                shutil.copytree(source, target)
            else:
                os.makedirs(os.path.dirname(target), exist_ok=True)
                shutil.copy(source, target)
        gate = freeze(root) if against_itself else os.path.join(ROOT, "scripts", "check-contracts")
        for edit in edits:
            change(root, *edit)
        done = subprocess.run([gate, TOOL, root], capture_output=True, text=True)
    said = done.stderr
    if expected is None:
        return None if done.returncode == 0 else f"{name}: was refused:\n{said}"
    if done.returncode != 1:
        return f"{name}: exit code {done.returncode}, not 1:\n{said}"
    fix = [line for line in said.splitlines() if expected in line]
    if not fix:
        return f"{name}: nothing said names {expected!r}:\n{said}"
    if not any(re.search(NEVER + "|set version|fix it|add or remove|end the gun|undo", line) for line in fix):
        return f"{name}: what was said tells no fix:\n{said}"
    return None


with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
    found = [*pool.map(run, CASES), *pool.map(lambda case: run(case, True), FACTS)]
    failures = [failure for failure in found if failure]
CASES += FACTS
for failure in failures:
    print(f"check_contracts_test: {failure}", file=sys.stderr)
refused = sum(1 for _, _, expected in CASES if expected is not None)
print(f"check_contracts_test: {refused} kinds of change to refuse, {len(CASES) - refused} to let pass, {len(failures)} failed")
sys.exit(1 if failures else 0)
