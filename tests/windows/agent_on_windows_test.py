"""What the agent kept of Windows: tables filled, and what is missing said.

Usage: agent_on_windows_test.py STORE OUTPUT-OF-COLLECT
"""
import re
import sqlite3
import sys

store, output = sys.argv[1], open(sys.argv[2], encoding="utf-8").read()
problems = []


def rows(database, table, *columns):
    connection = sqlite3.connect(f"file:{store}/{database}.db?mode=ro", uri=True)
    return connection.execute(f"SELECT {', '.join(columns)} FROM {table}").fetchall()


def expect(what, found, *accepted):
    """Each accepted value is a regular expression of one column of the only or a named row."""
    if len(found) != len(accepted) or not all(
        re.fullmatch(pattern, str(value)) for pattern, value in zip(accepted, found)
    ):
        problems.append(f"{what} is {found}, not {accepted}")


expect("the system", *rows("DeviceProfile", "OperatingSystem", "name", "os_version", "architecture", "locale_name"),
       "Windows.*|Microsoft Windows.*", r"\d+\.\d+\.\d+", "2", "[a-z]{2}-[A-Z]{2}")
expect("the device", *rows("DeviceProfile", "Device", "device_unique_id", "device_name"),
       "[0-9a-f]{8}-[0-9a-f]{4}-8[0-9a-f]{3}-[89ab][0-9a-f]{3}-[0-9a-f]{12}", ".+")
expect("the first processor", rows("DeviceProfile", "HwProcessor", "device_id", "name", "cores_count",
                                   "logical_processors", "address_width_bits")[0],
       "CPU0", ".+", "[1-9].*", "[1-9].*", "64")
programs = {row[0]: row[1:] for row in rows("DeviceProfile", "Application", "name", "vendor", "version", "size", "type",
                                            "install_time", "install_context")}
expect("the 64-bit program", programs.get("Prüfer 😀", ()), "Müller", "1.2", "12", "64-bit", "2026-01-31", "machine")
expect("the 32-bit program", programs.get("Narrow", ()), "", "", "", "32-bit", "", "machine")
if "Hidden" in programs:
    problems.append("a component of the system is among the programs")
services = {row[0]: row[1:] for row in rows("DeviceServices", "WindowsServicesInfo", "service_name", "display_name",
                                            "service_type", "service_start_mode", "current_state")}
expect("the service PlugPlay", services.get("PlugPlay", ()), ".+", ".* process", "automatic|manual|boot|system",
       "running|stopped|.* pending")
if not any(kind == "loopback" for (kind,) in rows("DeviceProfile", "HwNetworkAdapter", "interface_type")):
    problems.append("no network adapter is the loopback")

# Every collector keeps rows or says why not; none fails.
for name, said in re.findall(r"^(\w+)\n((?:  .*\n)*)", output, re.MULTILINE):
    if "skipped: failed" in said or not re.search(r": [1-9]\d* rows?,|samples? appended|skipped: .", said):
        problems.append(f"the collector {name} says: {said!r}")

for problem in problems:
    print(f"agent_on_windows_test: {problem}", file=sys.stderr)
sys.exit(1 if problems else 0)
