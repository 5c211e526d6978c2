"""The packages of two releases on one machine."""

import glob
import os

from rehearsal.run import Failed

AS_ROOT = [] if os.geteuid() == 0 else ["sudo"]
LIBRARY = "libovix-telemetry-data-contracts"


def find(folder, pattern):
    found = [path for path in glob.glob(os.path.join(folder, pattern)) if "-dbgsym_" not in path]
    if len(found) != 1:
        raise Failed(f"{folder} has {len(found)} packages {pattern}, not one")
    return found[0]


def dpkg(run, root, *arguments):
    """Runs dpkg for a root of its own, which has nothing that the packages depend on."""
    run([*AS_ROOT, "dpkg", f"--root={root}", "--log=/dev/null", "--force-depends", "--force-script-chrootless", "--no-triggers",
         *arguments])


def hold(run, older, newer, scratch):
    """Installs the libraries of both in one root, runs the tool of each with it, and removes the older. `older` and `newer`
    are folders of packages. Returns what each tool says of its version."""
    libraries = [find(folder, f"{LIBRARY}[0-9]*_*.deb") for folder in (older, newer)]
    names = [run(["dpkg-deb", "--field", package, "Package"]).strip() for package in libraries]
    if names[0] == names[1]:
        raise Failed(f"the packages of both releases are named {names[0]}: one replaces the other")
    together = os.path.join(scratch, "both")
    for name in ("info", "updates"):
        os.makedirs(os.path.join(together, "var", "lib", "dpkg", name))
    with open(os.path.join(together, "var", "lib", "dpkg", "status"), "x", encoding="ascii"):
        pass
    dpkg(run, together, "--install", *libraries)  # refuses a file that is in both
    path = os.path.dirname(glob.glob(os.path.join(together, "usr", "lib", "**", f"{LIBRARY}.so.*"), recursive=True)[0])
    said, tools = [], []
    for each, folder in (("older", older), ("newer", newer)):
        alone = os.path.join(scratch, each)
        run(["dpkg-deb", "--extract", find(folder, "ovix-contracts_*.deb"), alone])
        tool = os.path.join(alone, "usr", "bin", "ovix-contracts")
        tools.append(tool)
        said.append(run([tool, "--version"], env={"LD_LIBRARY_PATH": path}).strip())
        run([tool, "list"], env={"LD_LIBRARY_PATH": path})
    dpkg(run, together, "--purge", names[0])
    run([tools[1], "list"], env={"LD_LIBRARY_PATH": path})
    run([*AS_ROOT, "rm", "-r", together])
    return " and ".join(said)
