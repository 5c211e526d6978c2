"""Simulated devices: a batch file for each, by the tool and by the example agent's own code."""

import datetime
import subprocess
import tempfile
from concurrent.futures import ThreadPoolExecutor
from pathlib import Path

from fleet.problem import Problem


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
        for done in [
            pool.submit(_device, tool, packer, number, payloads, day, folder)
            for number in range(1, devices + 1)
        ]:
            done.result()


def _device(
    tool: Path, packer: Path, number: int, payloads: int, day: datetime.date, folder: Path
) -> None:
    with tempfile.TemporaryDirectory() as samples:
        made = Path(samples) / "samples"
        _run([tool, "sample", "--out", made, "--delimited", "-n", payloads, "--seed", number])
        batch = folder / f"device-{number:07}.ndjson.gz"
        _run([packer, made, batch, "--device", number, "--day", day])


def _run(command: list[object]) -> None:
    done = subprocess.run([str(part) for part in command], capture_output=True, text=True)
    if done.returncode != 0:
        raise Problem(done.stderr.strip() or f"{command[0]}: failed")
