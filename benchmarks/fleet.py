"""Measures how fast a fleet's payloads land, with plain Python and ovix-contracts next to it in the same run.

fleet.py [--payloads N]... [--workers N]...   run by scripts/bench-fleet, which sets the paths

"plain Python" is what anybody would write first, on one core: gunzip, json.loads, base64, SHA-256, and json_format of
each payload. It keeps nothing; the second line writes the dictionaries to Parquet, as pyarrow takes them.
`ovix-contracts decode` reads the same payloads as files of delimited messages, on one core. The start of the job is
what a single batch takes. Output: tables in Markdown.
"""

import argparse
import base64
import datetime
import gzip
import hashlib
import json
import os
import subprocess
import sys
import tempfile
import threading
import time
from collections import defaultdict
from collections.abc import Iterator
from pathlib import Path
from typing import Any

import pyarrow as pa
import pyarrow.parquet as pq
from fleet.batches import find_batches
from fleet.cluster import cluster
from fleet.contracts import Contracts
from fleet.simulate import simulate
from google.protobuf import json_format

LAND = Path(__file__).resolve().parents[1] / "examples/fleet/land.py"
TOOL = Path(os.environ["OVIX_CONTRACTS"])
PACKER = Path(os.environ["OVIX_FLEET_DEVICE"])
CONTRACTS = Path(os.environ["OVIX_DESCRIPTOR_SET"])
EACH = 20  # payloads of a contract and device
HELD = 50_000  # payloads that plain Python writes at once
TICKS = os.sysconf("SC_CLK_TCK")
# Processes by a part of their command.
KINDS = {
    "deploy.SparkSubmit": "driver, Java",
    "land.py": "driver, Python",
    "CoarseGrainedExecutorBackend": "executor, Java",
    "pyspark.daemon": "executor, Python",
    "spark.deploy": "master and worker, Java",
}


class Processes:
    """Looks at what this process started: CPU time in seconds and peak memory in MiB, by kind."""

    def __enter__(self) -> "Processes":
        self._seen: dict[int, tuple[str, float, int]] = {}
        self._over = threading.Event()
        self._look()
        self._before = {pid: cpu for pid, (_, cpu, _) in self._seen.items()}
        self._thread = threading.Thread(target=self._watch)
        self._thread.start()
        return self

    def __exit__(self, *_: object) -> None:
        self._over.set()
        self._thread.join()
        self.cpu: dict[str, float] = defaultdict(float)
        self.memory: dict[str, int] = defaultdict(int)
        for pid, (kind, cpu, memory) in self._seen.items():
            self.cpu[kind] += cpu - self._before.get(pid, 0)
            self.memory[kind] = max(self.memory[kind], memory)

    def _watch(self) -> None:
        while not self._over.wait(0.1):
            self._look()

    def _look(self) -> None:
        pids = [os.getpid()]
        for pid in pids:
            try:
                for task in Path(f"/proc/{pid}/task").iterdir():
                    pids += map(int, (task / "children").read_text().split())
                command = Path(f"/proc/{pid}/cmdline").read_text()
                kind = next((kind for part, kind in KINDS.items() if part in command), None)
                status = Path(f"/proc/{pid}/status").read_text()
                ticks = Path(f"/proc/{pid}/stat").read_text().rpartition(")")[2].split()[11:13]
                if kind and "VmHWM" in status:
                    memory = int(status.split("VmHWM:")[1].split()[0]) >> 10
                    self._seen[pid] = (kind, sum(map(int, ticks)) / TICKS, memory)
            except OSError:
                pass  # it has ended


def lines_of(folder: Path) -> Iterator[dict[str, str]]:
    for path in find_batches(folder):
        with gzip.open(path) as batch:
            yield from map(json.loads, batch)


def plain(folder: Path, tables: Path | None) -> tuple[float, float]:
    """Seconds, and those of CPU."""
    contracts = Contracts(CONTRACTS.read_bytes())
    held: dict[str, list[Any]] = defaultdict(list)

    def write(count: int) -> None:
        for gun, rows in held.items():
            pq.write_table(pa.table({"payload": pa.array(rows)}), tables / f"{gun}-{count}.parquet")
        held.clear()

    started, cpu = time.perf_counter(), time.process_time()
    for count, line in enumerate(lines_of(folder), 1):
        data = base64.b64decode(line["data"])
        if hashlib.sha256(data).hexdigest() != line["sha256"]:
            sys.exit("a hash is wrong")
        message = contracts.payloads[line["gun"]].message.FromString(data)
        payload = json_format.MessageToDict(message, preserving_proto_field_name=True)
        if tables:
            held[line["gun"]].append(payload)
            if count % HELD == 0:
                write(count)
    write(0)
    return time.perf_counter() - started, time.process_time() - cpu


def tool(folder: Path, work: Path) -> tuple[float, float]:
    """Seconds, and those of CPU."""
    work.mkdir()
    for line in lines_of(folder):
        data = base64.b64decode(line["data"])
        size = len(data)
        prefix = bytearray()
        while size >= 0x80:
            prefix.append(size & 0x7F | 0x80)
            size >>= 7
        prefix.append(size)
        with (work / line["message"]).open("ab") as stream:
            stream.write(prefix + data)
    started, cpu = time.perf_counter(), os.times().children_user
    for file in work.iterdir():
        with file.open("rb") as stream:
            command = [TOOL, "decode", file.name, "--delimited"]
            subprocess.run(command, stdin=stream, stdout=subprocess.DEVNULL, check=True)
    return time.perf_counter() - started, os.times().children_user - cpu


def job(folder: Path, tables: Path, master: str) -> tuple[float, Processes]:
    with Processes() as processes:
        started = time.perf_counter()
        subprocess.run(
            [
                sys.executable, LAND, "--contracts", CONTRACTS, "--batches", folder,
                "--tables", tables, "--master", master,
            ],
            check=True, stdout=subprocess.DEVNULL,
        )  # fmt: skip
        seconds = time.perf_counter() - started
    return seconds, processes


def main() -> None:
    parser = argparse.ArgumentParser()
    parser.add_argument("--payloads", type=int, action="append", help="default: 10^4, 10^5, 10^6")
    parser.add_argument("--workers", type=int, action="append", help="default: 1, 2; a core each")
    arguments = parser.parse_args()
    sizes = sorted(arguments.payloads or [10**4, 10**5, 10**6])
    with tempfile.TemporaryDirectory() as folder:
        measure(Path(folder), sizes, arguments.workers or [1, 2])


def measure(work: Path, sizes: list[int], workers: list[int]) -> None:
    started = time.perf_counter()
    day = datetime.date(2026, 11, 21)
    devices = [max(1, size // (48 * EACH)) for size in sizes]
    simulate(TOOL, PACKER, devices[-1], EACH, day, work / "all", os.cpu_count() or 1)
    print(f"{devices[-1]} devices simulated in {time.perf_counter() - started:.0f} s\n", flush=True)
    print("| Reader | payloads | cores | seconds | without the start | a second and core | CPU, microseconds each |")
    print("|---|---|---|---|---|---|---|", flush=True)

    def show(reader: str, payloads: int, cores: int, seconds: float, rest: float, cpu: float) -> None:
        if rest < 1 and rest < seconds / 10:  # the start takes a little more or less each time
            figures = "- | - | -"
        else:
            figures = f"{rest:.1f} | {payloads / rest / cores:,.0f} | {cpu / payloads * 1e6:.0f}"
        print(f"| {reader} | {payloads:,} | {cores} | {seconds:.1f} | {figures} |", flush=True)

    def part(count: int) -> Path:
        """A folder of so many of the batches."""
        batches = work / f"batches{count}"
        batches.mkdir(exist_ok=True)
        for path in find_batches(work / "all")[:count]:
            if not (batches / path.name).exists():
                (batches / path.name).symlink_to(path)
        return batches

    last: Processes | None = None
    stored = 0
    for count in devices:
        batches, payloads = part(count), count * 48 * EACH
        (work / "plain").mkdir(exist_ok=True)
        for reader, (seconds, cpu) in (
            ("plain Python", plain(batches, None)),
            ("plain Python, written", plain(batches, work / "plain")),
            ("`ovix-contracts decode`", tool(batches, work / f"streams{count}")),
        ):
            show(reader, payloads, 1, seconds, seconds, cpu)
        for cores in workers:
            with cluster(work / "spark", cores) as running:
                start, small = job(part(1), work / f"start{count}-{cores}", running.master)
                tables = work / f"tables{count}-{cores}"
                seconds, last = job(batches, tables, running.master)
            cpu = sum(last.cpu.values()) - sum(small.cpu.values())
            show("`land.py`", payloads, cores, seconds, seconds - start, cpu)
            stored = sum(path.stat().st_size for path in tables.rglob("*.parquet")) // payloads
    if last is not None:
        sent = sum(path.stat().st_size for path in find_batches(batches)) // payloads
        print(f"\nThe last run: {sent} bytes of a batch and {stored} of Parquet for each payload\n")
        print("| Process | peak memory of the largest, MiB | CPU of all, seconds |\n|---|---|---|")
        for kind, memory in sorted(last.memory.items()):
            print(f"| {kind} | {memory} | {last.cpu[kind]:.1f} |")


if __name__ == "__main__":
    main()
