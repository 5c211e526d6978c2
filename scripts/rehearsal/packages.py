"""The packages of two releases on one machine."""

import glob
import os

from rehearsal.run import Failed

LIBRARY = "libovix-telemetry-data-contracts"


def find(folder, pattern):
    found = [path for path in glob.glob(os.path.join(folder, pattern)) if "-dbgsym_" not in path]
    if len(found) != 1:
        raise Failed(f"{folder} has {len(found)} packages {pattern}, not one")
    return found[0]


def files(run, package):
    """What a package installs, without folders."""
    return {line.split(None, 5)[5].partition(" -> ")[0]
            for line in run(["dpkg-deb", "--contents", package]).splitlines() if not line.startswith("d")}


def hold(run, older, newer, scratch):
    """Unpacks the libraries of both into one folder, and runs the tool of each with it. `older` and `newer` are folders of
    packages. Returns what each tool says of its version."""
    libraries = [find(folder, f"{LIBRARY}[0-9]*_*.deb") for folder in (older, newer)]
    names = [run(["dpkg-deb", "--field", package, "Package"]).strip() for package in libraries]
    if names[0] == names[1]:
        raise Failed(f"the packages of both releases are named {names[0]}: one replaces the other")
    if both := sorted(set.intersection(*(files(run, package) for package in libraries))):
        raise Failed(f"{both[0]} is in the library's packages of both releases: dpkg refuses the second")
    together = os.path.join(scratch, "both")
    for package in libraries:
        run(["dpkg-deb", "--extract", package, together])
    path = os.path.dirname(glob.glob(os.path.join(together, "usr", "lib", "**", f"{LIBRARY}.so.*"), recursive=True)[0])
    said = []
    for each, folder in (("older", older), ("newer", newer)):
        alone = os.path.join(scratch, each)
        run(["dpkg-deb", "--extract", find(folder, "ovix-contracts_*.deb"), alone])
        tool = os.path.join(alone, "usr", "bin", "ovix-contracts")
        said.append(run([tool, "--version"], env={"LD_LIBRARY_PATH": path}).strip())
        run([tool, "list"], env={"LD_LIBRARY_PATH": path})
    return " and ".join(said)
