"""The lists of contents (SPDX) of an unpacked package, or of an installed tree that has several: whole, true of the
files next to them, and of each part that a package contains the text of its licence is in the package.

Usage: sbom_test.py PREFIX PACKAGE...     the packages whose lists must be there, and no other
"""

import glob
import hashlib
import json
import os
import sys

prefix, expected = sys.argv[1], sys.argv[2:]

# Of what may be contained: where a package of Windows has the licence, and words of it.
LICENSES = {
    "protobuf": ("protobuf.txt", ["Copyright 2008 Google Inc.", "Redistributions in binary form"]),
    "descriptor.proto": ("protobuf.txt", ["Copyright 2008 Google Inc.", "Redistributions in binary form"]),
    "CLI11": ("CLI11.txt", ["University of Cincinnati", "Redistributions in binary form"]),
    "RapidJSON": ("RapidJSON.txt", ["THL A29 Limited", "The above copyright notice and this permission notice"]),
    "libstdc++": ("gcc-runtime.txt", ["GCC RUNTIME LIBRARY EXCEPTION"]),
    "libgcc": ("gcc-runtime.txt", ["GCC RUNTIME LIBRARY EXCEPTION"]),
    "mingw-w64": ("mingw-w64-runtime.txt", ["the mingw-w64 project", "Redistributions in binary form"]),
    "winpthreads": ("mingw-w64-runtime.txt", ["mingw-w64-libraries/winpthreads/"]),
}

# What files say of what is in them: the tool's command line is CLI11's, the descriptor set has protobuf's schema.
CONTENTS = {"CLI11": b"N3CLI", "descriptor.proto": b"google/protobuf/descriptor.proto"}

problems = []


def read(path, mode="rb"):
    with open(path, mode) as file:
        return file.read()


def license_text(package, name):
    """The text in which a package says the licence of a part, or None."""
    for path in (f"share/licenses/{name}", f"share/doc/{package}/copyright"):
        if os.path.exists(os.path.join(prefix, path)):
            return read(os.path.join(prefix, path)).decode()
    return None


def check(path):
    """Checks one list and returns its package, its namespace and the files that it lists."""
    sbom = json.loads(read(path))
    stem = os.path.basename(path).removesuffix(".spdx.json")
    package = sbom["packages"][0]["name"]
    problem = lambda text: problems.append(f"{os.path.basename(path)}: {text}")
    packages = {each["SPDXID"]: each for each in sbom["packages"]}
    if sbom["spdxVersion"] != "SPDX-2.3" or len(packages) != len(sbom["packages"]):
        problem("is not SPDX 2.3, or names a package twice")
    version = sbom["packages"][0]["versionInfo"]
    architecture = stem.removeprefix(f"{package}_")
    if f"/{package}_{version}_{architecture}-" not in sbom["documentNamespace"]:
        problem(f"its namespace {sbom['documentNamespace']} is not of the package, its version and architecture")
    related = set()
    contained = []
    for relation in sbom["relationships"]:
        related.add(relation["relatedSpdxElement"])
        for end in (relation["spdxElementId"], relation["relatedSpdxElement"]):
            if end not in packages and end != "SPDXRef-DOCUMENT":
                problem(f"relates {end}, which it does not list")
        if relation["relationshipType"] == "CONTAINS":
            contained.append(packages[relation["relatedSpdxElement"]]["name"])
    for name in packages.keys() - related:
        problem(f"lists {name} and does not say what for")

    for name in contained:
        if name not in LICENSES:
            problem(f"contains {name}, of which this test knows no licence")
            continue
        file, words = LICENSES[name]
        text = license_text(package, file)
        for word in words:
            # The text may be broken into lines elsewhere.
            if word not in " ".join((text or "").split()):
                problem(f"contains {name}, but the package has no licence of it ('{word}')")

    listed = set()
    for each in packages.values():
        if not each["versionInfo"] or not each["licenseDeclared"]:
            problem(f"{each['name']}: no version or no licence")
        if "packageFileName" in each:
            listed.add(each["packageFileName"])
            dll = os.path.join(prefix, "bin", each["packageFileName"])
            if hashlib.sha256(read(dll)).hexdigest() != each["checksums"][0]["checksumValue"]:
                problem(f"{each['packageFileName']}: is another file than the one listed")
    return package, sbom["documentNamespace"], listed, contained


packages, namespaces, listed, contained = [], [], set(), set()
for path in sorted(glob.glob(os.path.join(prefix, "share/ovix-telemetry-data-contracts/sbom/*.spdx.json"))):
    package, namespace, files, parts = check(path)
    packages.append(package)
    namespaces.append(namespace)
    listed |= files
    contained |= set(parts)
if sorted(packages) != sorted(expected):
    problems.append(f"has lists of {packages}, not of {expected}")
if len(set(namespaces)) != len(namespaces):
    problems.append(f"two lists have one namespace: {namespaces}")
for path in glob.glob(os.path.join(prefix, "bin", "*.dll")):
    if os.path.basename(path) not in listed | {"ovix-telemetry-data-contracts.dll"}:
        problems.append(f"{os.path.basename(path)}: is not listed")
shipped = [read(path) for pattern in ("bin/ovix-contracts*", "share/*/contracts.binpb")
           for path in glob.glob(os.path.join(prefix, pattern)) if not path.endswith(".debug")]
for name, words in CONTENTS.items():
    if any(words in file for file in shipped) and not contained & {name, name.replace("descriptor.proto", "protobuf")}:
        problems.append(f"{name} is in its files, but in no list")
for problem in problems:
    print(f"sbom_test: {prefix}: {problem}", file=sys.stderr)
sys.exit(1 if problems else 0)
