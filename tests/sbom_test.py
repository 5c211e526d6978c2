"""The list of contents (SPDX) of an unpacked package: whole, and true of the files beside it.

Usage: sbom_test.py PREFIX
"""

import glob
import hashlib
import json
import os
import sys

prefix = sys.argv[1]
[path] = glob.glob(os.path.join(prefix, "share/ovix-telemetry-data-contracts/sbom-*.spdx.json"))
with open(path, encoding="utf-8") as file:
    sbom = json.load(file)

problems = []
packages = {package["SPDXID"]: package for package in sbom["packages"]}
if sbom["spdxVersion"] != "SPDX-2.3" or len(packages) != len(sbom["packages"]):
    problems.append("is no SPDX 2.3, or says a package twice")
related = set()
for relation in sbom["relationships"]:
    related.add(relation["relatedSpdxElement"])
    for end in (relation["spdxElementId"], relation["relatedSpdxElement"]):
        if end not in packages and end != "SPDXRef-DOCUMENT":
            problems.append(f"relates {end}, which it does not list")
for name in packages.keys() - related:
    problems.append(f"lists {name} and does not say what for")
listed = set()
for package in packages.values():
    if not package["versionInfo"] or not package["licenseDeclared"]:
        problems.append(f"{package['name']}: no version or no licence")
    if "packageFileName" in package:
        listed.add(package["packageFileName"])
        with open(os.path.join(prefix, "bin", package["packageFileName"]), "rb") as file:
            if hashlib.sha256(file.read()).hexdigest() != package["checksums"][0]["checksumValue"]:
                problems.append(f"{package['packageFileName']}: is another file than the one listed")
for path in glob.glob(os.path.join(prefix, "bin", "*.dll")):
    if os.path.basename(path) not in listed | {"ovix-telemetry-data-contracts.dll"}:
        problems.append(f"{os.path.basename(path)}: is not listed")
for problem in problems:
    print(f"sbom_test: {prefix}: {problem}", file=sys.stderr)
sys.exit(1 if problems else 0)
