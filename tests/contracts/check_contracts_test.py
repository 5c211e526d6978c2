#!/usr/bin/python3
"""Holds this tree's contracts against every rule, and then the rules themselves: makes each kind of mistake in the
small tree tests/contracts, which has a release of its own, and sees one finding with file, line, rule and fix; and
makes changes that a release may make, which nothing may refuse. `ovix-contracts lint` must say the same of each, in the same
lines, by every rule that both have.

Usage: check_contracts_test.py SOURCE_DIR OVIX_CONTRACTS [PATTERN]   PATTERN: only the cases with such a name
"""

import concurrent.futures
import json
import os
import re
import shutil
import subprocess
import sys
import tempfile

ROOT, TOOL = (os.path.abspath(path) for path in sys.argv[1:3])
PATTERN = sys.argv[3] if len(sys.argv) > 3 else ""
COMMAND = os.path.join(ROOT, "scripts", "check-contracts")
sys.path.insert(0, os.path.join(ROOT, "scripts"))
sys.dont_write_bytecode = True
sys.path.insert(0, os.path.join(ROOT, "tests", "contracts"))
import tree  # noqa: E402
from contracts import check, comments, conventions, frame, gate, schemas  # noqa: E402

# Rules of the tool alone: what its other commands and Windows refuse.
LINT_ONLY = {"schema-name", "contract-name", "table-column", "database-name"}
CONTRACTS = "ovix/telemetry/contract/"
STORAGE, UPLOAD = CONTRACTS + "storage/", CONTRACTS + "upload/"
BOOT, SYSTEM, EVENTS = (STORAGE + f"device/{name}.proto" for name in ("boot", "system", "system_events"))
PAYLOAD, OTHER = UPLOAD + "device/pc_boot_as_cdm.proto", UPLOAD + "device/pc_system_as_cdm.proto"
OPTIONS, MARKERS = STORAGE + "storage_options.proto", STORAGE + "db.proto"
LIST, COLLECTION = frame.LIST, frame.COLLECTION

# Safe for everybody who reads and keeps, but part of the contracts; another import alone is not.
ORDER = {"message-order-changed", "field-order-changed", "imports-changed"}
VERSION = '(cdm).version = "1.1.0"'
NEW_FIELD = (PAYLOAD, r"(repeated Phase phases = 4;)", r"\1\n  // Source: none\n  optional string tenant = 5;")
TO_1_2 = (PAYLOAD, re.escape(VERSION), '(cdm).version = "1.2.0"')
NEW_RECORD = """syntax = "proto3";

package ovix.telemetry.contract.storage.device;

import "ovix/telemetry/contract/storage/storage_options.proto";

// A fan.
message FanLog {
  option (persistance).type = "Historical";
  option (persistance).database.name = "Log";
  option (persistance).table.max_rows = 10000;

  string time = 1;
}
"""
FAN = STORAGE + "device/fan.proto"
NEW_PAYLOAD = """syntax = "proto3";

package ovix.telemetry.contract.upload.device;

import "ovix/telemetry/contract/upload/upload_options.proto";

// A fan.
//
// Source: none
message PcFanAsCDM {
  option (cdm).gun = "com.ovix.cdm.domain.telemetry.type.eventDetail.category.pcFan.version.1";
  option (cdm).version = "1.0.0";

  string version = 1;
}
"""
FAN_PAYLOAD = UPLOAD + "device/pc_fan_as_cdm.proto"

# An example agent of one collector and one payload, and the page that says what it collects.
AGENT, UPLOADER, PAGE = "examples/agent/collectors/linux/boot.cc", frame.UPLOADER, "docs/privacy.md"
EXAMPLE = [
    (AGENT, "", "void CollectBoot(Collection& found) {\n  found.Append<device::BootLog>();\n}\n\n"
                "constexpr LinuxCollector kCollectors[] = {\n    {\"boots\",\n     CollectBoot},\n};\n"),
    (UPLOADER, "", "    {device::PcBootAsCDM::descriptor, BuildBoot},\n"),
    (PAGE, "", "| Contract | Class | Fields |\n|---|---|---|\n\n| Collector | Linux | Windows | Kept in | Sent in |\n|---|---|---|---|---|\n"
               "| `boots` | the journal | - | `BootLog` | `PcBootAsCDM` |\n| every one | rows | the same | - | - |\n"),
]

# A change that a release forbids: what is done (file, regular expression, replacement), and the one finding: file, rule
# and what is said. `ovix-contracts diff` must say of each that it breaks.
RELEASED = [
    # The encoding.
    ("remove a field", [(SYSTEM, r"  string size = 5;\n", "")], (SYSTEM, "field-removed", "System.size: the released field 5")),
    ("reserve its number", [(SYSTEM, r"string size = 5;", "reserved 5;")], (SYSTEM, "field-removed", "System.size")),
    ("renumber a field", [(SYSTEM, r"size = 5", "size = 13")], (SYSTEM, "field-number", "from 5 to 13")),
    ("rename a field", [(SYSTEM, r"string size", "string extent")], (SYSTEM, "field-renamed", "released as size")),
    ("rename a payload's field", [(OTHER, r"string product = 2", "// Source: none\n  string goods = 2")], (OTHER, "field-renamed", "released as product")),
    ("change a type", [(SYSTEM, r"string size = 5", "bool size = 5")], (SYSTEM, "field-type", "from string to bool")),
    ("widen a type", [(SYSTEM, r"uint32 rowid", "uint64 rowid")], (SYSTEM, "field-type", "from uint32 to uint64")),
    ("make a field repeated", [(SYSTEM, r"string size", "repeated string size")], (SYSTEM, "field-label", "to repeated")),
    ("give a field presence", [(SYSTEM, r"string size", "optional string size")], (SYSTEM, "field-presence", "to optional")),
    ("take its presence", [(BOOT, r"optional string reason", "string reason")], (BOOT, "field-presence", "to implicit")),
    ("put a field into a oneof", [(SYSTEM, r"  string size = 5;", "  oneof extent {\n    string size = 5;\n  }")], (SYSTEM, "field-oneof", "to extent")),
    ("change a JSON name", [(SYSTEM, r"string size = 5", 'string size = 5 [json_name = "bytes"]')], (SYSTEM, "field-json-name", "to bytes")),
    ("put fields in another order", [(SYSTEM, r"(  string version = 4;\n)(  string size = 5;\n)", r"\2\1")], (SYSTEM, "field-order", "")),
    # Names and places.
    ("rename a message", [(EVENTS, r"message SystemEvents", "message SystemChanges")], (EVENTS, "message-removed", "SystemEvents")),
    ("change a package", [(EVENTS, r"package (.*);", r"package \1_health;")], (EVENTS, "package", "to ovix.telemetry.contract.storage.device_health")),
    ("remove a schema", [(EVENTS, None, None)], (EVENTS, "schema-removed", "is gone")),
    ("move a schema", [(EVENTS, None, "changes.proto")], (EVENTS, "schema-removed", "its messages are in " + STORAGE + "device/changes.proto")),
    ("put messages in another order", [(BOOT, r"(?s)(// A part of.*?\n\}\n\n)(.*\n)", r"\2\n\1"), (BOOT, r"\n\n$", "\n")], (BOOT, "message-order", "")),
    ("put imports in another order", [(EVENTS, r"(import .*\n)(import .*\n)", r"\2\1")], (EVENTS, "imports", "another order")),
    ("remove a value", [(SYSTEM, r"  ARCHITECTURE_64_BITS = 2;\n", "")], (SYSTEM, "enum-value", "ARCHITECTURE_64_BITS is gone")),
    ("rename a value", [(SYSTEM, r"ARCHITECTURE_64_BITS", "ARCHITECTURE_WIDE")], (SYSTEM, "enum-value", "released as ARCHITECTURE_64_BITS")),
    ("renumber a value", [(SYSTEM, r"ARCHITECTURE_64_BITS = 2", "ARCHITECTURE_64_BITS = 9")], (SYSTEM, "enum-value", "from 2 to 9")),
    ("renumber an extension", [(OPTIONS, r"(ColumnFieldOptions column = )\d+", r"\g<1>60001")], None),
    # What the store goes by.
    ("move a table to another database", [(BOOT, r'name = "Log"', 'name = "Profile"')], (BOOT, "table-database", "from Log to Profile")),
    ("change a table's kind", [(SYSTEM, r'"State"', '"Historical"')], (SYSTEM, "table-type", "from State to Historical")),
    ("change a time limit", [(BOOT, r"max_time_days = 360", "max_time_days = 365")], (BOOT, "table-limit", "from 360 to 365")),
    ("give a table a limit", [(SYSTEM, r"(\.name = \"Profile\";)", r"\1\n  option (persistance).table.max_rows = 5;")], (SYSTEM, "table-limit", "to 5")),
    ("change a database's size", [(MARKERS, r"= 64", "= 32")], (MARKERS, "database-size", "from 64 to 32")),
    ("take a column from a key", [(SYSTEM, r"vendor = 3 \[.*?\]", "vendor = 3")], (SYSTEM, "table-key", "from yes to no")),
    ("add a column to a key", [(SYSTEM, r"version = 4", "version = 4 [(column).constraint.pk = true]")], (SYSTEM, "table-key", "from no to yes")),
    # What the cloud goes by.
    ("change a gun", [(PAYLOAD, r"pcBoot\.version", "pcWho.version")], (PAYLOAD, "payload-gun", "pcWho")),
    ("take another's gun", [(PAYLOAD, r"pcBoot\.version", "pcSystem.version")], (PAYLOAD, "payload-gun", "pcSystem")),
    ("lower a version", [(PAYLOAD, re.escape(VERSION), '(cdm).version = "1.0.9"')], (PAYLOAD, "payload-version", "from 1.1.0 to 1.0.9")),
    ("remove the options", [(OTHER, r"  option \(cdm\).*\n", ""), (OTHER, r"  option \(cdm\).*\n\n", "")], (OTHER, "payload-options", "not a payload any more")),
    ("add a field, keep the version", [NEW_FIELD], (PAYLOAD, "payload-version", "set version 1.2.0")),
    ("add a field, raise the patch", [NEW_FIELD, (PAYLOAD, re.escape(VERSION), '(cdm).version = "1.1.1"')], (PAYLOAD, "payload-version", "set version 1.2.0")),
    ("add a field to a part, keep the version", [(PAYLOAD, r"(uint32 length_ms = 2;)", r"\1\n    // Source: none\n    string place = 3;")], (PAYLOAD, "payload-version", "Phase.place came in")),
    ("raise the major version, not the gun", [NEW_FIELD, (PAYLOAD, re.escape(VERSION), '(cdm).version = "2.0.0"')], (PAYLOAD, "payload-gun", "do not fit")),
    # What readers of the comments go by.
    ("lower a privacy class", [(BOOT, r"Privacy: identifier", "Privacy: interaction")], (BOOT, "privacy", "from identifier to interaction")),
    ("change a format", [(BOOT, r"Format: GUID", "Format: hexadecimal")], (BOOT, "format", "from GUID to hexadecimal")),
    ("change a unit", [(BOOT, r"Unit: s\n", "Unit: min\n")], (BOOT, "unit", "from s to min")),
    ("narrow a closed list", [(BOOT, r'Values: "warm", "cold"', 'Values: "warm"')], (BOOT, "values", "closed list")),
]

# A mistake in what is new; `diff` knows nothing of it.
NEW = [
    ("a mistyped database", [(FAN, "", NEW_RECORD.replace('"Log"', '"Logg"'))], (FAN, "table-database", "did you mean 'Log'?")),
    ("a database without a marker", [(FAN, "", NEW_RECORD.replace('"Log"', '"Fans"'))], (FAN, "table-database", "add a marker")),
    ("no database", [(FAN, "", re.sub(r".*database.*\n", "", NEW_RECORD))], (FAN, "table-database", "does not name")),
    ("a record that sizes its database", [(FAN, "", NEW_RECORD.replace("table.max_rows", "database.max_size_mb"))], (FAN, "database-size", "in the marker")),
    ("a marker in another schema", [(FAN, "", NEW_RECORD + '\n// A marker.\nmessage Fans {\n  option (persistance).database.max_size_mb = 1;\n\n  string a = 1;\n}\n'), (FAN, '"Log"', '"Fans"')], (FAN, "database-marker", "move it to")),
    ("a marker of nothing", [(MARKERS, r"\Z", "\n// A marker.\nmessage Fans {\n  option (persistance).database.max_size_mb = 1;\n\n  string a = 1;\n}\n")], (MARKERS, "database-marker", "of no table")),
    ("another kind of table", [(FAN, "", NEW_RECORD.replace('"Historical"', '"Cache"'))], (FAN, "table-type", '"State" or "Historical"')),
    ("another kind of table, in braces", [(FAN, "", re.sub(r"option \(persistance\).type = (.*);", r"// Kept.\n  option (persistance) = {type: \1};", NEW_RECORD.replace('"Historical"', '"Cache"')))], (FAN, "table-type", "fan.proto:10: ")),
    ("a State table without a key", [(FAN, "", NEW_RECORD.replace('"Historical"', '"State"'))], (FAN, "table-key", "has no key")),
    ("a key of no table", [(BOOT, r"phase_name = 1", "phase_name = 1 [(column).constraint.pk = true]")], (BOOT, "table-key", "not a table")),
    ("a table without a time", [(FAN, "", NEW_RECORD.replace("string time", "string when"))], (FAN, "table-time", "string time = 1")),
    ("a time with presence", [(FAN, "", NEW_RECORD.replace("string time", "optional string time"))], (FAN, "table-time", "string time = 1")),
    ("a time at the end", [(FAN, "", NEW_RECORD.replace("string time = 1", "string time = 3"))], (FAN, "table-time", "string time = 1")),
    ("two tables of one name", [(STORAGE + "other/boot.proto", "", NEW_RECORD.replace("device;", "other;").replace("FanLog", "BootLog"))], (STORAGE + "other/boot.proto", "table-name", "has a table of this name")),
    ("two tables whose names differ in case", [(STORAGE + "other/boot.proto", "", NEW_RECORD.replace("device;", "other;").replace("FanLog", "BOOTLOG"))], (STORAGE + "other/boot.proto", "table-name", "has a table of this name, ovix.telemetry.contract.storage.device.BootLog")),
    ("two tables of one name by an option", [(FAN, "", NEW_RECORD.replace("table.max_rows = 10000", 'table.name = "BootLog"'))], (FAN, "table-name", "has a table of this name")),
    ("a table of SQLite's", [(FAN, "", NEW_RECORD.replace("table.max_rows = 10000", 'table.name = "SQLite_fan"'))], (FAN, "table-name", "fan.proto:11: table-name: ovix.telemetry.contract.storage.device.FanLog: 'SQLite_fan'")),
    ("a version with a leading zero", [(FAN_PAYLOAD, "", NEW_PAYLOAD.replace('"1.0.0"', '"1.0.0-beta.01"'))], (FAN_PAYLOAD, "payload-version", "three numbers")),
    ("a change log of another shape", [(EVENTS, r"\Z", "\n// Other changes.\nmessage Changes {\n  option (persistance).type = \"Historical\";\n  option (persistance).database.name = \"Log\";\n\n  string time = 1;\n  StateEventType event = 2;\n}\n")], (EVENTS, "change-log", "string current_state = 5")),
    ("a payload without options", [(OTHER, r"\Z", "\n// Another payload.\n//\n// Source: none\nmessage PcFanAsCDM {\n  // The version.\n  string version = 1;\n}\n")], (OTHER, "payload-options", "set (cdm).gun and (cdm).version")),
    ("a payload by another name", [(OTHER, r"\Z", "\n// Another payload.\n//\n// Source: none\nmessage PcFan {\n  option (cdm).gun = \"g\";\n\n  string version = 1;\n}\n")], (OTHER, "payload-name", "ends in AsCDM")),
    ("an envelope with presence", [(FAN_PAYLOAD, "", NEW_PAYLOAD.replace("string version", "optional string version"))], (FAN_PAYLOAD, "payload-envelope", "string version = 1")),
    ("an envelope of another name", [(FAN_PAYLOAD, "", NEW_PAYLOAD.replace("string version", "string release"))], (FAN_PAYLOAD, "payload-envelope", "string version = 1")),
    ("a gun of another form", [(FAN_PAYLOAD, "", NEW_PAYLOAD.replace("pcFan.", "PcFan."))], (FAN_PAYLOAD, "payload-gun", "CATEGORY.version.MAJOR")),
    ("a gun that is taken", [(FAN_PAYLOAD, "", NEW_PAYLOAD.replace("pcFan.", "pcBoot."))], (FAN_PAYLOAD, "payload-gun", "is that of ovix.telemetry.contract.upload.device.PcBootAsCDM")),
    ("a version of another form", [(FAN_PAYLOAD, "", NEW_PAYLOAD.replace('"1.0.0"', '"1.0"'))], (FAN_PAYLOAD, "payload-version", "three numbers")),
    ("a gun of another major version", [(FAN_PAYLOAD, "", NEW_PAYLOAD.replace('"1.0.0"', '"2.0.0"'))], (FAN_PAYLOAD, "payload-gun", "version.2")),
    ("a payload that is a table", [(FAN_PAYLOAD, "", NEW_PAYLOAD.replace("upload/upload_options.proto\";", "upload/upload_options.proto\";\nimport \"" + OPTIONS + "\";").replace("  option (cdm).gun", "  option (ovix.telemetry.contract.storage.persistance).database.name = \"Log\";\n  option (ovix.telemetry.contract.storage.persistance).type = \"Historical\";\n  option (cdm).gun").replace("string version = 1;", "string version = 1;\n  string time = 2;"))], (FAN_PAYLOAD, "payload-table", "remove (persistance)")),
    ("a payload in storage/", [(STORAGE + "device/pc_fan_as_cdm.proto", "", NEW_PAYLOAD.replace("upload.device;", "storage.device;").replace("(cdm)", "(ovix.telemetry.contract.upload.cdm)").replace("//\n// Source: none\n", ""))], (STORAGE + "device/pc_fan_as_cdm.proto", "payload-place", "move it there")),
    ("a table in upload/", [(UPLOAD + "device/fan.proto", "", NEW_RECORD.replace("storage.device;", "upload.device;").replace("(persistance)", "(ovix.telemetry.contract.storage.persistance)").replace("// A fan.", "// A fan.\n//\n// Source: none"))], (UPLOAD + "device/fan.proto", "table-place", "move it to storage/")),
    ("a part without lineage", [(PAYLOAD, r"  //\n  // Source: ovix\S+BootPhase\n", "")], (PAYLOAD, "lineage", "no line Source")),
    ("a source that does not exist", [(PAYLOAD, r"BootPhase\n", "BootStep\n")], (PAYLOAD, "lineage", "is not a stored record")),
    ("a source that no table keeps", [(BOOT, r"\Z", "\n// A sum of boots.\nmessage BootSum {\n  string phase_name = 1;\n  uint32 length_ms = 2;\n}\n"), (PAYLOAD, r"BootPhase\n", "BootSum\n")], (PAYLOAD, "lineage", "BootSum is kept in no table")),
    ("a change from a record that only has the same data", [(PAYLOAD, r"(// Source: \S+BootLog)\n", r"\1, same data.\n")], (PAYLOAD, "lineage", "write 'same data.'")),
    ("a field from nowhere", [NEW_FIELD, TO_1_2, (PAYLOAD, r"  // Source: none\n(  optional string tenant)", r"\1")], (PAYLOAD, "lineage", "no source record has such a field")),
    ("a payload that says less of a person", [(PAYLOAD, r"  // Privacy: identifier\n", "")], (PAYLOAD, "privacy", "from identifier to nothing")),
    ("a payload that says less than its record", [(PAYLOAD, r"(repeated Phase phases = 4;)", r"\1\n  // Privacy: interaction\n  // Source: serial_number, renamed.\n  optional string who = 5;"), TO_1_2], (PAYLOAD, "privacy", "less sensitive than ovix.telemetry.contract.storage.device.BootLog.serial_number")),
    ("a payload that says less than the parts of its record", [(BOOT, r"(uint32 length_ms = 2;)", r"\1\n  // Privacy: location\n  string seat = 3;"), (PAYLOAD, r"(repeated Phase phases = 4;)", r"\1\n  // Source: phases, computed: all in one.\n  optional string all_phases = 5;\n  // Number of phases.\n  // Source: phases, computed: how many.\n  optional uint32 phases_of_boot = 6;"), TO_1_2], (PAYLOAD, "privacy", "all_phases: is less sensitive than ovix.telemetry.contract.storage.device.BootPhase.seat, where it comes from")),
    ("a change log that says less than its rows", [(SYSTEM, r"(rowid = 7;)", r"\1\n  // Privacy: identifier\n  string asset_tag = 8;")], [(EVENTS, "privacy", f"{name}_state: is less sensitive than ovix.telemetry.contract.storage.device.System.asset_tag, which is in the rows that it holds; set Privacy: identifier") for name in ("previous", "current")]),
    ("a change log that says less than a map in its rows", [(SYSTEM, r"(rowid = 7;)", r"\1\n  map<string, Seat> seats = 8;"), (SYSTEM, r"\Z", "\n// A seat.\nmessage Seat {\n  // Privacy: identifier\n  string asset_tag = 1;\n}\n")], [(EVENTS, "privacy", f"{name}_state: is less sensitive than ovix.telemetry.contract.storage.device.Seat.asset_tag, which is in the rows that it holds") for name in ("previous", "current")]),
    ("a map in a payload, keep the version", [(PAYLOAD, r"(repeated Phase phases = 4;)", r"\1\n  // Source: none\n  map<string, Phase> more = 5;")], (PAYLOAD, "payload-version", "PcBootAsCDM: PcBootAsCDM.more came in")),
    ("camel case", [(BOOT, r"(reason = 9;)", r"\1\n  string bootTime = 10;")], (BOOT, "lint", "lower_snake_case")),
    ("another format", [(BOOT, r"  string time", "    string time")], (BOOT, "format", "check-contracts --fix")),
    ("an error of syntax", [(BOOT, r"string time", "sting time")], (BOOT, "protoc", '"sting" is not defined')),
    ("an error in an import", [(OPTIONS, r"uint32 max_rows", "unit32 max_rows")], (OPTIONS, "protoc", '"unit32" is not defined')),
    ("an import that does not exist", [(BOOT, r"storage_options", "storage_option")], (BOOT, "protoc", "was not found")),
    ("a schema that nothing lists", [(LIST, r"  \S+/boot\.proto\n", "")], (LIST, "list", "check-contracts --fix")),
    ("a list in another order", [(LIST, r"(  \S+/boot\.proto\n)(  \S+/system\.proto\n)", r"\2\1")], (LIST, "list", "check-contracts --fix")),
    ("a class that the collection lacks", [(COLLECTION, r"    Prototype<storage::device::BootPhase>\(\),\n", "")], (COLLECTION, "list", "BootPhase")),
    ("a collector without a row", [*EXAMPLE, (PAGE, r"\| `boots` .*\n", "")], (
        PAGE, "collector", "| `boots` | what it reads | - | `BootLog` | `PcBootAsCDM` |")),
    ("a row of another platform", [*EXAMPLE, (PAGE, r"\| - \| `BootLog`", "| the event log | `BootLog`")], (PAGE, "collector", "on windows; write -")),
    ("a row that says nothing of a platform", [*EXAMPLE, (PAGE, r"the journal", "-")], (PAGE, "collector", "on linux; say what it reads")),
    ("a row without a record", [*EXAMPLE, (PAGE, r"`BootLog`", "`System`")], (PAGE, "collector", "add `BootLog`")),
    ("a row without a payload", [*EXAMPLE, (PAGE, r"`PcBootAsCDM`", "not sent")], (PAGE, "collector", "PcBootAsCDM")),
    ("a row of no collector", [*EXAMPLE, (PAGE, r"\| every one", "| `fans` | - | - | - | - |\n| every one")], (PAGE, "collector", "'fans', which is not a collector")),
    ("a schema that is not UTF-8", [(BOOT, r"(?s)\A.*", "// One\n// \udcff boot.\n")], (BOOT, "protoc", "boot.proto:2: protoc: byte 0xff is not UTF-8")),
    ("a schema that is there twice", [(STORAGE + "device/zoot.proto", BOOT)], (STORAGE + "device/zoot.proto", "protoc", "already defined")),
    ("a schema outside of the folders", [(CONTRACTS + "fan.proto", "", "syntax = \"proto3\";\n\npackage ovix.telemetry.contract;\n\n// A fan.\nmessage Fan {\n  bool runs = 1;\n}\n")], (CONTRACTS + "fan.proto", "place", "move it under")),
    ("ends of lines of another system", [(BOOT, r"\n", "\r\n")], (BOOT, "format", "check-contracts --fix")),
    ("a list without its place", [(LIST, r"set\(OVIX_CONTRACTS", "set(CONTRACTS")], (LIST, "list", "has no set(OVIX_CONTRACTS ...)")),
    ("a page without its number", [("README.md", r"proto3\s+schemas", "schemas")], ("README.md", "list", "has no number of 'proto3 schemas'")),
    ("a wrong count", [("README.md", r"\d+ proto3", "7 proto3")], ("README.md", "list", "9 proto3")),
]

ALLOWED = [
    ("nothing", []),
    ("a record's field", [(BOOT, r"(reason = 9;)", r"\1\n  string boot_time = 10;")]),
    ("a field between others", [(BOOT, r"(  optional string reason)", r"  string boot_time = 7;\n\1")]),
    ("a payload's field and its version", [NEW_FIELD, TO_1_2]),
    ("a beta's field and its version", [(OTHER, r"(product = 2;)", r"\1\n  optional string vendor = 3;"), (OTHER, "1.0.0-beta.2", "1.1.0-beta.1"), (OTHER, "optional string vendor", "string vendor")]),
    ("an import and a field that needs it", [(BOOT, r"(import .*\n)", r'\1import "' + SYSTEM + '";\n'), (BOOT, r"(reason = 9;)", r"\1\n  Architecture architecture = 10;")]),
    ("an enumeration's value", [(SYSTEM, r"(ARCHITECTURE_64_BITS = 2;)", r"\1\n  ARCHITECTURE_128_BITS = 3;")]),
    ("a message", [(BOOT, r"\Z", "\n// A sum of boots.\nmessage BootSum {\n  uint32 boots_found = 1;\n}\n")]),
    ("a table", [(FAN, "", NEW_RECORD)]),
    ("a database", [(FAN, "", NEW_RECORD.replace('"Log"', '"Fans"')), (MARKERS, r"\Z", "\n// The fans.\nmessage Fans {\n  option (persistance).database.max_size_mb = 1;\n\n  // Never written: a message needs a body.\n  // Values: 0\n  uint32 do_not_use = 1;\n}\n")]),
    ("a message deprecated", [(BOOT, r"(message BootLog \{\n)", r"\1  option deprecated = true;\n")]),
    ("a field deprecated", [(SYSTEM, r"size = 5", "size = 5 [deprecated = true]")]),
    ("an example of which the page says all", EXAMPLE),
    ("another comment", [(BOOT, r"One boot of", "One start of")]),
    ("a fact where none was", [(SYSTEM, r"  string size", "  // Format: unspecified\n  string size")]),
]

# A field with its comment, in a record of its own: the line of the finding and what it says; nothing if it is right.
COMMENTS = [
    ("  // Unit: ms\n", "uint32 waited", None),
    ("  // Unit: unspecified\n", "uint32 waited", None),
    ("  // Unit: unspecified, as the collector\n  // reports it.\n", "uint32 waited", None),
    ("", "uint32 waited_ms", None),
    ("  // Unit: s\n", "uint32 waited_ms", (6, "has the unit s, but its name gives ms")),
    ("  // Unit: unspecified\n", "uint32 waited_ms", (6, "has the unit unspecified, but its name gives ms")),
    ("  // Unit: unspecified, the driver decides.\n", "uint32 waited_ms", None),
    ("  // Unit: /s\n", "uint32 items_per_seconds", None),
    ("  // Unit: Cel\n", "string heat", (6, "is a string with the unit Cel, but")),
    ("  // Unit: Cel\n  // Format: version\n", "string heat", (6, "is a string with the unit Cel, but")),
    ("", "string size_mb", (5, "is a string with the unit MiBy, but")),
    ("  // Unit: Cel\n  // Format: decimal number\n", "string heat", None),
    ('  // Values: "on" = it runs, "off"\n', "string state", None),
    ("  // Values: 0, 1 = one, -2, ...\n", "int32 mode", None),
    ("  // Values: unspecified\n  // Format: RFC 3339\n  // Privacy: content\n", "string t", None),
    ("", "uint32 item_count", None),
    ("  // Unit: Ms\n", "uint32 waited", (6, "'Ms' is not a value of Unit")),
    ("  // Unit: unspecified, no full stop\n", "uint32 a", (6, "'unspecified, no full stop' is not a value of Unit")),
    ("  // Unit: unspecifiedly\n", "uint32 a", (6, "'unspecifiedly'")),
    ("  // Unit: ms\n", "uint32 waited_ms", (6, "the name gives the unit")),
    ("  // Unit: ms\n", "bool waited", (6, "Unit does not belong here")),
    ("", "uint32 waited", (5, "is a number without a unit")),
    ("", "double load", (5, "is a number without a unit")),
    ("  // Unti: ms\n", "string waited", (6, "'Unti:' is not a fact")),
    ("  // Unit: ms\n  // Unit: s\n", "uint32 a", (7, "Unit is given twice")),
    ("  // Privacy: content\n  // Unit: ms\n", "uint32 a", (7, "Unit comes after Privacy")),
    ("  // Unit: ms\n  //\n  // Late words.\n", "uint32 a", (8, "'Late words.' comes after the facts")),
    ("  // Values: on, off\n", "string a", (6, "'on, off' is not a value of Values")),
    ("  // Values: 1, \"two\"\n", "uint32 a", (6, "'1, \"two\"' is not a value of Values")),
    ("  // Values: 01\n", "uint32 a", (6, "'01' is not a value of Values")),
    ("  // Values: -0\n", "int32 a", (6, "'-0' is not a value of Values")),
    ("  // Values: 1, 2\n", "string a", (6, "is a string, but lists numbers; put each word in quotes")),
    ("  // Values: \"1\"\n", "uint32 a", (6, "is a number, but lists words; write numbers without quotes")),
    ("  // Values: \"on\", \"off\", \"on\"\n", "repeated string a", (6, "lists on twice")),
    ("  // Values: 0, -1\n", "uint32 a", (6, "lists -1, which no uint32 can be")),
    ("  // Values: 4294967295, 4294967296\n", "fixed32 a", (6, "lists 4294967296, which no fixed32 can be")),
    ("  // Values: -2147483648, 2147483648\n", "sint32 a", (6, "lists 2147483648, which no sint32 can be")),
    ("  // Values: -9223372036854775808, 9223372036854775807\n", "int64 a", None),
    ("  // Values: 18446744073709551615, 18446744073709551616\n", "uint64 a", (6, "lists 18446744073709551616,")),
    ("  // Values: 9007199254740992, -100000000000000000000\n", "double a", None),
    ("  // Values: 9007199254740992, 9007199254740993\n", "double a", (6, "lists 9007199254740993, which no double can be")),
    ("  // Values: 16777216, 16777217\n", "float a", (6, "lists 16777217, which no float can be")),
    ("  // Values: 1000000000000000000000000000000000000000\n", "float a", (6, "which no float can be")),
    (f"  // Values: 1{'0' * 309}\n", "double a", (6, "which no double can be")),
    ("  // Values: 1 = one, of many\n", "uint32 a", (6, "with \", \" between them, and in no meaning")),
    ("  // Values: \"a\",\"b\"\n", "string a", (6, "with \", \" between them")),
    ("  // Values: 1.5\n", "double a", (6, "list \"words\" or integers")),
    ("  // Values: 0 = off\n  // 1 = on\n", "uint32 a", (6, "'0 = off 1 = on' is not a value of Values")),
    ("  // Values: \"a = b\" = is = of it\n", "string a", (6, "is not a value of Values")),
    ("  // Values: \"a = b\" = a=b, \"c\"\n", "string a", None),
    ("  // Values: 1 = , 2 = two\n", "uint32 a", (6, "'1 = , 2 = two' is not a value of Values")),
    ("  // Unit: s\u2028\u00a0ms\n", "uint32 a", (6, "'s\u2028\u00a0ms' is not a value of Unit")),
    ("  // Values: \"on\"\n", "bool a", (6, "Values does not belong here")),
    ("  // Values: 1, 1\n", "bool a", (6, "Values does not belong here")),
    ('  // Values: "on",\n', "string a", (6, "'\"on\",' is not a value")),
    ("  // Values: ...\n", "string a", (6, "'...' is not a value of Values")),
    ("  // Format: rfc 3339\n", "string a", (6, "'rfc 3339' is not a value of Format")),
    ("  // Format: version\n", "uint32 a_id", (6, "Format does not belong here")),
    ("  // Privacy: secret\n", "string a", (6, "'secret' is not a value of Privacy")),
    ("  // Privacy:\n", "string a", (6, "'' is not a value of Privacy")),
    ("", "string serial_number", (5, "its name looks personal")),
    ("", "string drive_sn", (5, "its name looks personal")),
    ("", "repeated string owner_emails", (5, "its name looks personal")),
    ("", "repeated string mac_addresses", (5, "its name looks personal")),
    ("", "repeated string directories", (5, "its name looks personal")),
    ("", "uint32 number_of_users", None),
    ("", "string number_of_users", (5, "its name looks personal")),
    ("", "bool has_window_title", None),
    ("", "string asn", None),
    ("  // privacy: identifier\n", "string a", (6, "'privacy:' is not a fact")),
    ("  // Privacy:identifier\n", "string serial_number", None),
    ("  // Privacy:\u00a0identifier\n", "string a", (6, "'\u00a0identifier' is not a value of Privacy")),
    ("  //\u00a0Privacy: identifier\n", "string a", (6, "Privacy: identifier' is not read as a fact")),
    ("  // UNIT: ms\n", "string a", (6, "'UNIT:' is not a fact")),
    ("  // Source: none\n", "string a", (6, "Source does not belong here")),
    # Lines that look like a fact, but are not read as one.
    ("  // Privacy : identifier\n", "string a", (6, "'Privacy : identifier' is not read as a fact")),
    ("  // - Privacy: identifier\n", "string a", (6, "'- Privacy: identifier' is not read as a fact")),
    ("  //   Privacy: identifier\n", "string a", (6, "'Privacy: identifier' is not read as a fact")),
    ("  // Privacy= identifier\n", "string a", (6, "'Privacy= identifier' is not read as a fact")),
    ("  // Privacy identifier\n", "string a", (6, "'Privacy identifier' is not read as a fact")),
    ("  // * privacy identifier.\n", "string a", (6, "'* privacy identifier.' is not read as a fact")),
    ("  // @Privacy: identifier\n", "string a", (6, "'@Privacy: identifier' is not read as a fact")),
    ("  // @privacy: identifier\n", "string a", (6, "'@privacy: identifier' is not read as a fact")),
    ("  // Unit ms\n", "uint32 a_id", (6, "'Unit ms' is not read as a fact")),
    ("  // Format RFC 3339\n", "string a", (6, "'Format RFC 3339' is not read as a fact")),
    ('  // Values "on", "off"\n', "string a", (6, "is not read as a fact")),
    ("  // Source none\n", "string a", (6, "'Source none' is not read as a fact")),
    ("  // It names whom it shows. Privacy: identifier\n", "string a", (6, "is not read as a fact")),
    ("  // Unit: unspecified, as the driver has it. Privacy: content.\n", "uint32 a", (6, "is not read as a fact")),
    ("  // Privacy: identifier\n\n", "string a", (3, "R: 'Privacy: identifier' is not read as a fact")),
    ("", "string a = 2;  // Privacy: identifier\n  bool b", (5, "'Privacy: identifier' is not read as a fact")),
    ("", "string a = 2;\n  // Privacy: identifier\n\n  bool b", (5, "R.a: 'Privacy: identifier' is not read as a fact")),
    ("", "string a = 2;\n\n  // Privacy: identifier\n\n  bool b", (10, "R.b: 'Privacy: identifier' is not read as a fact")),
    # Words of prose.
    ("  // Values of the last hour. Privacy and unit vary.\n  // Source of the sound; format unspecified by its maker.\n"
     "  // Unit tests and format words: none of these.\n", "string a", None),
    ('  // Values: "Format" = it is formatted, "Unit"\n', "string a", None),
    # Whole declarations.
    ("// A record.\nmessage R {\n  // Privacy: identifier\n\n  string a = 1;\n}\n", None, (3, "directly above the field that it is of, or remove it")),
    ("// An enumeration.\nenum E {\n  ZERO = 0;  // Privacy: content\n}\n", None, (5, "ZERO: 'Privacy: content' is not read as a fact; write it as 'KEY: value' on a line of its own, directly above the field that")),
    ("// A record.\nmessage R {\n  // Flags of it.\n  // Values: 1, 2, 9223372036854775808\n  uint64 a = 1;\n}\n", None, None),
    ("// A record.\nmessage R {\n  // Flags of it.\n  // Values: 1, 2, 3\n  uint32 a = 1;\n}\n", None, (6, "lists 3, which is not one bit")),
    ("// A record.\nmessage R {\n  // Flags of it.\n  // Values: 0, 1\n  uint32 a = 1;\n}\n", None, (6, "lists 0, which is not one bit")),
    ("// A record.\nmessage R {\n  //\n  // Flags of it.\n  // Values: 3\n  uint32 a = 1;\n}\n", None, (7, "lists 3, which is not one bit")),
    ("// A record.\nmessage R {\n  // Flags of it.\n  // Values: 18446744073709551616\n  double a = 1;\n}\n", None, (6, "lists 18446744073709551616, which")),
    ("// A record.\nmessage R {\n  // Flags of it.\n  // Values: 3\n  bool a = 1;\n}\n", None, (6, "Values does not belong here")),
    ("// A record.\nmessage R {\n  // Number of\n  // seconds of it.\n  uint32 a = 1;\n}\n", None, (5, "is a number without a unit")),
    ("// A record.\nmessage R {\n  // Number of seconds of it.\n  uint32 a = 1;\n}\n", None, (5, "is a number without a unit")),
    ("// A record.\nmessage R {\n  // Number of dayshifts.\n  uint32 a = 1;\n}\n", None, None),
    ("// A record.\nmessage R {\n  // Number of users that are there.\n  uint32 present_users = 1;\n}\n", None, None),
    # In comments of what can have no facts.
    ("// A record.\nmessage R {\n  // Either of them.\n  // Privacy: identifier\n  oneof name {\n    string a = 1;\n  }\n}\n", None,
     (6, "'Privacy: identifier' is not read as a fact; write it as 'KEY: value' on a line of its own, directly above the field that")),
    ("// A record.\nmessage R {\n  oneof name {  // Privacy: identifier\n    string a = 1;\n  }\n}\n", None, (5, "'Privacy: identifier' is not read")),
    ("// A record.\nmessage R {\n  reserved 5;\n  // Privacy: identifier\n  reserved 6;\n  string a = 1;\n}\n", None, (6, "is not read as a fact")),
    ("// A record.\nmessage R {\n  // Unit = ms\n  option deprecated = true;\n}\n", None, (5, "'Unit = ms' is not read as a fact")),
    ("// Privacy: identifier\noption deprecated = true;\n", None, (3, "'Privacy: identifier' is not read as a fact")),
    ("// Privacy: identifier\n\n// Note: it is alone.\noption deprecated = true;\n", None, (2, "'Privacy: identifier' is not read as a fact")),
    ("// Note: it is alone.\noption deprecated = true;\n", None, None),
    ("message R {}\n", None, (3, "R: has no comment")),
    ("// Word.\nmessage R {}\n", None, (3, "R: has no comment")),
    ("// A record.\n// Unit: ms\nmessage R {}\n", None, (4, "Unit does not belong here")),
    ("// A record.\n// Source: none\nmessage R {}\n", None, (4, "Source does not belong here")),
    ("// An enumeration.\nenum E {\n  // Privacy: content\n  ZERO = 0;\n}\n", None, (5, "ZERO: Privacy does not belong here")),
    ("// A record.\nmessage R {\n  // An inner one.\n  message I {\n    uint32 a = 1;\n  }\n}\n", None, (7, "R.I.a: is a number without a unit")),
]

# A new field of the payload, with its lineage: what the finding says; nothing if it is right.
LINEAGE = [
    ("  // Unit: s\n  // Source: duration, renamed.\n", "uint32 length", ""),
    ("  // Source: duration, renamed, in milliseconds.\n", "uint32 length_ms", ""),
    ("  // Source: duration, computed: it is rounded.\n", "uint32 length_ms", ""),
    ("  // Unit: s\n", "uint32 duration", ""),
    ("  // Source: reason, retyped from string to repeated string.\n", "repeated string reason", ""),
    ("  // Source: counter, renamed and narrowed from uint64\n  // to uint32. It fits.\n", "uint32 counter_number", ""),
    ("  // Source: reason, same data.\n", "bool has_reason", ""),
    ("  // Source: names.value.phase_name, renamed.\n", "string first_name", ""),
    ("  // Source: duration, retyped from uint32 to bool.\n", "bool duration", ""),
    ("  // Source: duration, renamed.\n", "uint32 length_ms", "has the unit ms, but ovix.telemetry.contract.storage.device.BootLog.duration, where it comes from, has s"),
    ("  // Source: duration, same data.\n", "uint32 length_ms", "has s; give both the same unit, or name the new unit: 'same data, in megabytes.'"),
    ("  // Source: duration, same data, in milliseconds.\n", "uint32 length_ms", ""),
    ("  // Source: reason, same data, perhaps.\n", "string reason", "begin with 'copied'"),
    ("  // Unit: min\n", "uint32 duration", "write computed, or name the new unit: 'copied, in megabytes.'"),
    ("  // Unit: min\n  // Source: duration, copied, in minutes.\n", "uint32 duration", ""),
    ("  // Values: unspecified\n", "uint32 duration", "has no unit, but"),
    ("  // Unit: s\n  // Source: duration, renamed.\n", "uint64 length", "begin with 'renamed and retyped from uint32 to uint64' or computed"),
    ("  // Source: counter, renamed and retyped from uint64 to uint32.\n", "uint32 counter_number", "begin with 'renamed and narrowed from uint64 to uint32'"),
    ("  // Source: reason, copied.\n", "string cause", "begin with 'renamed'"),
    ("  // Source: reason, renamed.\n", "string reason", "begin with 'copied'"),
    ("  // Source: reason, changed.\n", "string cause", "does not say how the field differs, but 'changed.'"),
    ("  // Source: reason, renamed and retyped from string to bool.\n", "string cause", "says that the type changes, but both are string; write 'renamed' without it"),
    ("  // Source: reason, renamed.\n  // Source: reason, renamed.\n", "string cause", "has the source reason twice"),
]


def lineage_case(comment, field, expected):
    label = "" if field.startswith("repeated") else "optional "
    edits = [(BOOT, r"(reason = 9;)", r"\1\n  // Values: unspecified\n  uint64 counter = 10;\n  map<string, BootPhase> names = 11;"), TO_1_2,
             (PAYLOAD, r"(repeated Phase phases = 4;)", rf"\1\n{comment}  {label}{field} = 5;")]
    return "new" if expected else "allowed", f"lineage {comment.strip()!r} of {field}", edits, (PAYLOAD, "lineage", expected) if expected else []


def change(root, path, pattern, replacement=...):
    path = os.path.join(root, path)
    if replacement is ...:  # a copy of another
        shutil.copy(os.path.join(root, pattern), path)
        return
    if pattern is None:  # away, or to another name
        if replacement is None:
            os.remove(path)
        else:
            os.rename(path, os.path.join(os.path.dirname(path), replacement))
        return
    if pattern == "":  # a new file
        os.makedirs(os.path.dirname(path), exist_ok=True)
        before, after = "", replacement
    else:
        with open(path, encoding="utf-8") as file:
            before = file.read()
        after = re.sub(pattern, replacement, before, count=1)
    if after == before:
        sys.exit(f"check_contracts_test: {pattern!r} changes nothing in {path}")
    with open(path, "w", encoding="utf-8", errors="surrogateescape", newline="") as file:
        file.write(after)


def differs(old, root, folder, order):
    """Whether the tool says that something breaks, or has one of these rules of order."""
    new = os.path.join(folder, "new.binpb")
    with open(new, "wb") as file:
        file.write(schemas.compile_schemas(root, sorted(schemas.on_disk(root))))
    done = subprocess.run([TOOL, "diff", old, new, "--format", "json"], capture_output=True, text=True)
    changes = json.loads(done.stdout)["changes"]
    return any(each["breaks"] or each["rule"] in order for each in changes)


def by_rules(root, older):
    """What the rules find that the tool has too."""
    names = sorted(schemas.on_disk(root))
    try:
        contracts = schemas.Contracts(schemas.compile_schemas(root, names))
    except schemas.Broken as broken:
        return sorted(set(broken.findings))
    words = check.vocabulary()
    found = [*check.misplaced(names), *conventions.Check(contracts, older).run(), *comments.Check(contracts, words).run()]
    if older is not None:
        found += [finding for finding in gate.Gate(older, contracts, words).run() if finding.rule == "extension"]
    return sorted(set(found))


def differs_from_lint(root, release=None):
    """Where the tool says something else than the rules here, in words; nothing where it does not."""
    against = ["--against", release] if release else []
    done = subprocess.run([TOOL, "lint", root, "--format", "json", *against], capture_output=True, text=True)
    if done.returncode not in (0, 1):
        return f"lint failed: {done.stderr}"
    said = [f"{each['file']}:{each['line']}: {each['rule']}: {each['what']}; {each['fix']}"
            for each in json.loads(done.stdout)["findings"] if each["rule"] in RULES]
    expected = [str(finding) for finding in by_rules(root, schemas.read(release) if release else None)]
    if said == expected:
        return None
    return "".join([*(f"\n    only here: {line}" for line in expected if line not in said),
                    *(f"\n    only lint: {line}" for line in said if line not in expected)]) or "another order"


def rules_of_both():
    """The rules of the tool but for those that are its own; those of a release have the names of diff."""
    done = subprocess.run([TOOL, "lint", "--rules", "--format", "json"], capture_output=True, text=True, check=True)
    return {rule["rule"] for rule in json.loads(done.stdout)["rules"]} - LINT_ONLY


def run(base, case):
    kind, name, edits, expected = case
    expected = expected if isinstance(expected, list) else [expected] if expected else []
    with tempfile.TemporaryDirectory() as folder:
        root = os.path.join(folder, "tree")
        shutil.copytree(base, root)
        for edit in edits:
            change(root, *edit)
        try:
            if not {LIST, COLLECTION, "README.md"} & {edit[0] for edit in edits}:
                contracts = schemas.Contracts(schemas.compile_schemas(root, sorted(schemas.on_disk(root))))
                frame.write(root, {name: right for name, _, right in frame.wanted(root, contracts, check.vocabulary())})
            found, _ = check.find(root)
        except schemas.Broken as broken:
            found = broken.findings
        release = os.path.join(base, "compat", "1.0.0", "contracts.binpb")
        by_tool = differs_from_lint(root, release)
        breaks = kind != "new" and differs(release, root, folder,
                                           ORDER if kind == "released" else ORDER - {"imports-changed"})
    said = "".join(f"\n    {finding}" for finding in found)
    if by_tool:
        return f"{name}: ovix-contracts lint differs: {by_tool}"
    if kind == "released" and not found:
        return f"{name}: was not refused"
    if kind != "new" and breaks != (kind == "released"):
        return f"{name}: ovix-contracts diff does not agree:{said}"
    if kind == "released" and not expected:
        return None
    missing = [each for each in expected if not any(
        (finding.file, finding.rule) == each[:2] and each[2] in str(finding) and finding.line > 0 for finding in found)]
    if missing or len(found) != len(expected):
        return f"{name}: expected {expected}, but found:{said or ' nothing'}"
    return None


def check_comment(case):
    comment, field, expected = case
    record = f"// A record of the test.\nmessage R {{\n  // The first line.\n{comment}  {field} = 1;\n}}\n"
    schema = 'syntax = "proto3";\npackage p;\n' + (comment if field is None else record)
    with tempfile.TemporaryDirectory() as root:
        change(root, "ovix/storage/s.proto", "", schema)
        # The set has the options' own schema in it, as every set of contracts.
        shutil.copytree(os.path.join(ROOT, "tests", "contracts", "ovix"), os.path.join(root, "ovix"), dirs_exist_ok=True)
        for name in tree.OPTIONS:
            shutil.copy(os.path.join(ROOT, name), os.path.join(root, name))
        contracts = schemas.Contracts(schemas.compile_schemas(root, sorted(schemas.on_disk(root))))
        by_tool = differs_from_lint(root)
    found = list(comments.Check(contracts, check.vocabulary()).run())
    if by_tool:
        return f"comment {comment!r} of {field}: ovix-contracts lint differs: {by_tool}"
    right = not found if expected is None else (
        len(found) == 1 and found[0].line == expected[0] and expected[1] in str(found[0]))
    return None if right else f"comment {comment!r} of {field}: expected {expected}, found {[str(each) for each in found]}"


def main():
    global RULES
    RULES = rules_of_both()
    # This tree first: a finding of its own is not hidden by the cases.
    whole = subprocess.run([COMMAND], capture_output=True, text=True)
    print(whole.stderr + whole.stdout, end="")
    if whole.returncode:
        return 1
    with tempfile.TemporaryDirectory() as folder:
        base = os.path.join(folder, "base")
        failures = tree.make(base)
        cases = [("released", *case) for case in RELEASED] + [("new", *case) for case in NEW]
        cases += [("allowed", *case, None) for case in ALLOWED] + [lineage_case(*case) for case in LINEAGE]
        if not failures:
            with concurrent.futures.ThreadPoolExecutor(os.cpu_count()) as pool:
                cases = [case for case in cases if re.search(PATTERN, case[1])]
                results = [*pool.map(lambda case: run(base, case), cases), *pool.map(check_comment, COMMENTS)]
            failures = [failure for failure in results if failure]
    for failure in failures:
        print(f"check_contracts_test: {failure}", file=sys.stderr)
    print(f"check_contracts_test: {len(RELEASED) + len(NEW)} mistakes, {len(ALLOWED)} changes that are allowed, "
          f"{len(LINEAGE)} sources and {len(COMMENTS)} comments, {len(failures)} failed")
    return 1 if failures else 0


sys.exit(main())
