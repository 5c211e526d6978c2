"""Simulates devices, starts a Spark cluster, lands a day of payloads, and stops what it started."""

import argparse
import datetime
import os
import signal
import subprocess
import sys
import time
from pathlib import Path

from fleet.cluster import cluster
from fleet.problem import Problem
from fleet.simulate import simulate

_HERE = Path(__file__).resolve().parent


def main() -> int:
    parser = argparse.ArgumentParser(description="Lands a day of simulated devices.")
    parser.add_argument("devices", type=int, nargs="?", default=1000)
    parser.add_argument("--payloads", type=int, default=2, help="of each contract and device")
    parser.add_argument("--workers", type=int, default=2)
    parser.add_argument("--port", type=int, default=0, help="of the master; 0: any that is free")
    for option, variable, what in (
        ("--tool", "OVIX_CONTRACTS", "ovix-contracts"),
        ("--packer", "OVIX_FLEET_DEVICE", "ovix-fleet-device"),
        ("--contracts", "OVIX_DESCRIPTOR_SET", "contracts.binpb"),
    ):
        path = os.environ.get(variable)
        parser.add_argument(option, type=Path, required=not path, default=path, help=what)
    parser.add_argument("--folder", type=Path, required=True, help="of batches and tables")
    arguments = parser.parse_args()
    # So that what runs is stopped.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(1))
    folder = arguments.folder.resolve()
    try:
        for what in ("devices", "payloads", "workers"):
            if getattr(arguments, what) < 1:
                raise Problem(f"{getattr(arguments, what)}: is not a number of {what}; name 1 or more")
        if not 0 <= arguments.port < 1 << 16:
            raise Problem(f"{arguments.port}: is not a port; name 0 to 65535")
        batches = folder / f"batches-{arguments.devices}"
        started = time.monotonic()
        print(f"demo-fleet: simulating {arguments.devices} devices", flush=True)
        simulate(
            arguments.tool, arguments.packer, arguments.devices, arguments.payloads,
            datetime.date(2026, 11, 21), batches, os.cpu_count() or 1,
        )  # fmt: skip
        print(f"demo-fleet: simulated in {time.monotonic() - started:.0f} s; landing", flush=True)
        with cluster(folder / "spark", arguments.workers, port=arguments.port) as running:
            done = subprocess.run(
                [
                    sys.executable, _HERE / "land.py", "--contracts", arguments.contracts,
                    "--batches", batches, "--tables", folder / "tables",
                    "--master", running.master,
                ]
            )  # fmt: skip
        return done.returncode
    except Problem as problem:
        print(f"demo-fleet: {problem}", file=sys.stderr)
    except KeyboardInterrupt:
        print("demo-fleet: interrupted; what it started is stopped", file=sys.stderr)
    return 1


if __name__ == "__main__":
    sys.exit(main())
