"""A shipped file and its debug file: the one is stripped and leads to the other by build id or by debug link and its
checksum, and an address of the stripped file is read as function and source line.

Usage: debug_info_test.py FILE DEBUG_FILE SYMBOL FUNCTION SOURCE [TOOLS_PREFIX]
SYMBOL is a function that the file exports, or one of the debug file's where the file exports none; FUNCTION and SOURCE
are what an address in it must be read as.
"""

import os
import re
import subprocess
import sys
import zlib

path, debug_path, symbol, function, source = sys.argv[1:6]
tools = sys.argv[6] if len(sys.argv) > 6 else ""


def run(tool, *arguments):
    return subprocess.run([tools + tool, *arguments], check=True, capture_output=True, text=True).stdout


def fail(text):
    sys.exit(f"debug_info_test: {path}: {text}")


def sections(file):
    return set(re.findall(r"^ *\d+ (\.\S+)", run("objdump", "-h", file), re.M))


def exported_address(file):
    """The address of the symbol as the stripped file exports it."""
    headers = run("objdump", "-p", file)
    if "Export Address Table" not in headers:
        return re.search(rf"^([0-9a-f]+) \w {re.escape(symbol)}$", run("nm", "-D", "--defined-only", file), re.M)
    base = int(re.search(r"^ImageBase\s+([0-9a-f]+)", headers, re.M)[1], 16)
    index = re.search(rf"^\s*\[ *(\d+)\].* {re.escape(symbol)}$", headers, re.M)
    if not index:
        return None
    offset = re.search(rf"^\s*\[ *{index[1]}\] \+base\[ *\d+\] ([0-9a-f]+) Export RVA", headers, re.M)[1]
    return re.match("(.*)", f"{base + int(offset, 16):x}")


with open(debug_path, "rb") as file:
    debug_bytes = file.read()

if "DEBUG" in str(sections(path)).upper().replace(".GNU_DEBUGLINK", ""):
    fail(f"has debug information of its own: {sorted(s for s in sections(path) if 'debug' in s)}")
if re.search(r"^[0-9a-f]+ ", run("nm", path), re.M):
    fail("has symbols, it is not stripped")
if ".debug_info" not in sections(debug_path) or ".debug_line" not in sections(debug_path):
    fail(f"its debug file {debug_path} has no debug information")

link = run("objdump", "--dwarf=links", path)
name = re.search(r"Separate debug info file: (\S+)", link)
checksum = re.search(r"CRC value: (0x[0-9a-f]+)", link)
if not name or name[1] != os.path.basename(debug_path):
    fail(f"its debug link is {name and name[1]}, not {os.path.basename(debug_path)}")
if int(checksum[1], 16) != zlib.crc32(debug_bytes):
    fail(f"its debug link's checksum is {checksum[1]}, not that of {debug_path}")
with open(path, "rb") as file:
    if file.read(4) == b"\x7fELF":
        ids = [re.search(r"Build ID: ([0-9a-f]+)", run("readelf", "-n", each)) for each in (path, debug_path)]
        if not all(ids) or ids[0][1] != ids[1][1]:
            fail("its build id is not its debug file's")
        if not debug_path.endswith(f"/.build-id/{ids[0][1][:2]}/{ids[0][1][2:]}.debug"):
            fail(f"{debug_path} is not named after the build id {ids[0][1]}")

address = exported_address(path) or re.search(rf"^([0-9a-f]+) [Tt] {re.escape(symbol)}$", run("nm", debug_path), re.M)
if not address:
    fail(f"exports no {symbol}, and its debug file has none")
# The last of them is the function itself, where others were inlined.
shown = run("addr2line", "-f", "-C", "-i", "-e", debug_path, f"0x{int(address[1], 16) + 4:x}").splitlines()[-2:]
if not shown[0].startswith(function) or not re.fullmatch(rf"\./(.*/)?{re.escape(source)}:\d+.*", shown[1]):
    fail(f"{symbol}+4 is read as {shown}, not as {function} in {source}")

root = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
found = re.search(rb"[^\0]*(?:%s|/root/|/home/|/tmp/)[^\0]*" % re.escape(root.encode() + b"/"), debug_bytes)
if found:
    fail(f"its debug file names a folder of the machine that built it: {found[0][:200].decode(errors='replace')}")
print(f"debug_info_test: {os.path.basename(path)}: {' '.join(shown)}")
