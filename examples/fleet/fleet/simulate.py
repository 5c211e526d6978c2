"""Simulated devices: a batch file for each, by the tool and by the example agent's own code."""

import datetime
import os
import shutil
import subprocess
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from fleet.problem import Problem

# Both programs wait until the disk has what they wrote: in memory that takes no time.
_MEMORY = "/dev/shm" if os.access("/dev/shm", os.W_OK) else None


def simulate(
    tool: Path,
    packer: Path,
    devices: int,
    payloads: int,
    day: datetime.date,
    folder: Path,
    at_once: int = 2,
) -> None:
    """Writes a day of devices 1 to `devices`, each with its own seed, `payloads` of each contract.

    `tool` is ovix-contracts, `packer` is ovix-fleet-device. Raises Problem.
    """
    folder.mkdir(parents=True, exist_ok=True)
    with ThreadPoolExecutor(at_once) as pool:
        try:
            for done in [
                pool.submit(_device, tool, packer, number, payloads, day, folder)
                for number in range(1, devices + 1)
            ]:
                done.result()
        finally:  # after Ctrl-C, or where one failed, all others would still be made
            pool.shutdown(wait=False, cancel_futures=True)


def _device(
    tool: Path, packer: Path, number: int, payloads: int, day: datetime.date, folder: Path
) -> None:
    with tempfile.TemporaryDirectory(dir=_MEMORY) as work:
        samples = Path(work) / "samples"
        _run([tool, "sample", "--out", samples, "--delimited", "-n", payloads, "--seed", number])
        batch = Path(work) / f"device-{number:07}.ndjson.gz"
        _run([packer, samples, batch, "--device", number, "--day", day])
        shutil.move(batch, folder / batch.name)


def _run(command: list[object]) -> None:
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True)
    if done.returncode != 0:
        raise Problem(done.stderr.strip() or f"{command[0]}: failed")
