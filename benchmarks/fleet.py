"""Measures how fast a fleet's payloads land, and a plain Python reader and ovix-contracts in the same run.

fleet.py [--payloads N]... [--workers N]...   run by scripts/bench-fleet, which sets the paths

The plain reader does what anybody would write first: gunzip, json.loads, base64, SHA-256, and json_format of each
payload, on one core. `ovix-contracts decode` reads the same payloads as files of delimited messages, on one core.
"""

import argparse
import base64
import datetime
import gzip
import hashlib
import json
import os
import resource
import subprocess
import sys
import tempfile
import time
from collections.abc import Iterator
from pathlib import Path

from fleet.batches import find_batches
from fleet.cluster import cluster
from fleet.contracts import Contracts
from fleet.simulate import simulate
from google.protobuf import json_format

LAND = Path(__file__).resolve().parents[1] / "examples/fleet/land.py"
TOOL = Path(os.environ["OVIX_CONTRACTS"])
PACKER = Path(os.environ["OVIX_FLEET_DEVICE"])
CONTRACTS = Path(os.environ["OVIX_DESCRIPTOR_SET"])


def lines_of(folder: Path) -> Iterator[dict[str, str]]:
    for path in find_batches(folder):
        with gzip.open(path) as batch:
            yield from map(json.loads, batch)


def plain_seconds(folder: Path) -> float:
    contracts = Contracts(CONTRACTS.read_bytes())
    started = time.perf_counter()
    for line in lines_of(folder):
        data = base64.b64decode(line["data"])
        if hashlib.sha256(data).hexdigest() != line["sha256"]:
            sys.exit("a hash is wrong")
        message = contracts.payloads[line["gun"]].message.FromString(data)
        json_format.MessageToDict(message, preserving_proto_field_name=True)
    return time.perf_counter() - started


def tool_seconds(folder: Path, work: Path) -> float:
    streams: dict[str, bytearray] = {}
    for line in lines_of(folder):
        data = base64.b64decode(line["data"])
        size = len(data)
        prefix = bytearray()
        while size >= 0x80:
            prefix.append(size & 0x7F | 0x80)
            size >>= 7
        prefix.append(size)
        streams.setdefault(line["message"], bytearray()).extend(prefix + data)
    files = []
    for message, stream in streams.items():
        (work / message).write_bytes(stream)
        files.append(message)
    started = time.perf_counter()
    for message in files:
        with (work / message).open("rb") as stream:
            command = [TOOL, "decode", message, "--delimited"]
            subprocess.run(command, stdin=stream, stdout=subprocess.DEVNULL, check=True)
    return time.perf_counter() - started


def job_seconds(folder: Path, work: Path, workers: int) -> float:
    with cluster(work / "spark", workers) as running:
        started = time.perf_counter()
        subprocess.run(
            [
                sys.executable, LAND, "--contracts", CONTRACTS, "--batches", folder,
                "--tables", work / "tables", "--master", running.master,
            ],
            check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL,
        )  # fmt: skip
        return time.perf_counter() - started


def main() -> None:
    parser = argparse.ArgumentParser()
    parser.add_argument("--payloads", type=int, action="append", help="default: 10000, 100000")
    parser.add_argument("--workers", type=int, action="append", help="default: 1, 2; a core each")
    arguments = parser.parse_args()
    print(f"{'READER':<22}{'PAYLOADS':>10}{'CORES':>7}{'SECONDS':>10}{'A SECOND AND CORE':>20}")

    def show(reader: str, payloads: int, cores: int, seconds: float) -> None:
        speed = payloads / seconds / cores
        print(f"{reader:<22}{payloads:>10}{cores:>7}{seconds:>10.1f}{speed:>20.0f}", flush=True)

    for wanted in arguments.payloads or [10_000, 100_000]:
        with tempfile.TemporaryDirectory() as folder:
            work = Path(folder)
            batches = work / "batches"
            each = 20  # of a contract and device
            devices = max(1, wanted // (48 * each))
            day = datetime.date(2026, 11, 21)
            simulate(TOOL, PACKER, devices, each, day, batches, os.cpu_count() or 1)
            payloads = devices * 48 * each
            show("plain Python", payloads, 1, plain_seconds(batches))
            show("ovix-contracts decode", payloads, 1, tool_seconds(batches, work))
            for workers in arguments.workers or [1, 2]:
                seconds = job_seconds(batches, work / f"run{workers}", workers)
                show("land.py, start included", payloads, workers, seconds)
    peak = resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss
    print(f"the largest process took {peak >> 10} MiB")


if __name__ == "__main__":
    main()
