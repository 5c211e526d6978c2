"""Measures under Wine how long the DLL takes to load, and how large it is, compared with a baseline DLL of the same schemas.

Usage: compare_windows.py BUILD_DIR DLL_FOLDER ...     the folders have the DLLs that both need
"""

import os
import pathlib
import statistics
import subprocess
import sys
import tempfile

from ratios import Table, run

ROUNDS = 40


def main(build, *folders):
    build = pathlib.Path(build).resolve()
    libraries = {"ours": build / "library/ovix-telemetry-data-contracts.dll",
                 "baseline": build / "benchmarks/libbaseline-contracts.dll"}
    wine = dict(os.environ, WINEDEBUG="-all", WINEDLLOVERRIDES="mscoree,mshtml=", WINEPREFIX=str(build / "wine"),
                WINEPATH=";".join(f"Z:{folder}" for folder in folders))
    table, times = Table(), {name: [] for name in libraries}
    with tempfile.TemporaryDirectory() as scratch:
        for name, library in libraries.items():
            run("x86_64-w64-mingw32-strip", "-o", f"{scratch}/{name}.dll", library)
        sizes = {name: os.path.getsize(f"{scratch}/{name}.dll") for name in libraries}
        for round_number in range(ROUNDS + 1):
            for name in libraries:
                taken = float(run("timeout", "60", "wine", build / "benchmarks/load-library.exe", f"{name}.dll",
                                  cwd=scratch, env=wine))
                if round_number > 0:  # the first one starts Wine itself
                    times[name].append(taken)
        subprocess.run(["wineserver", "--kill"], env=wine, check=False)
    table.add("size, stripped", [sizes["ours"] / sizes["baseline"]])
    table.add("LoadLibrary", [ours / baseline for ours, baseline in zip(times["ours"], times["baseline"])])
    table.print()
    for name in libraries:
        print(f"{name}: {sizes[name]} bytes, {statistics.median(times[name]) / 1000:.2f} ms")


main(*sys.argv[1:])
