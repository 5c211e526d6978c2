"""A cluster of real processes: one of them is killed, something is missing, and no payload is lost."""

import os
import shutil
import signal
import socket
import subprocess
import sys
import tempfile
import time
import unittest
from collections.abc import Callable
from pathlib import Path

import pyarrow.parquet as pq

from fleet.cluster import Cluster, cluster, kill
from fleet.problem import Problem
from support import IDENTITY, RELEASED, ROOT, label, write_batch
from fleet.contracts import Contracts

LAND = ROOT / "examples/fleet/land.py"
CONTRACTS = Contracts(RELEASED)
BATCHES = 12
LINES = 1500  # of a batch: so many that a run can be met in its middle


def children_of(pid: int) -> list[int]:
    done = subprocess.run(["pgrep", "-P", str(pid)], capture_output=True, text=True)
    return [int(line) for line in done.stdout.split()]


def heed_ctrl_c() -> None:
    """A shell ignores it for what it runs in the background."""
    signal.signal(signal.SIGINT, signal.SIG_DFL)


class Killed(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        temporary = tempfile.TemporaryDirectory()
        cls.addClassCleanup(temporary.cleanup)
        cls.folder = Path(temporary.name)
        guns = sorted(CONTRACTS.payloads)
        for batch in range(BATCHES):
            lines = [
                label(CONTRACTS, guns[n % 48], b"", sequence=batch * LINES + n + 1)
                for n in range(LINES)
            ]
            write_batch(cls.folder / f"batches/{batch:02}.ndjson.gz", [*lines, lines[0], b"bad"])

    def start(self, running: Cluster, tables: Path) -> subprocess.Popen[str]:
        return subprocess.Popen(
            [
                sys.executable, LAND, "--contracts", ROOT / "compat/1.0.0/contracts.binpb",
                "--batches", self.folder / "batches", "--tables", tables, "--master", running.master,
            ],
            stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True, start_new_session=True,
            preexec_fn=heed_ctrl_c,
        )  # fmt: skip

    def wait(self, job: subprocess.Popen[str], happened: Callable[[], bool]) -> None:
        until = time.monotonic() + 300
        while not happened():
            self.assertIsNone(job.poll(), "the run was over before it was met")
            self.assertLess(time.monotonic(), until)
            time.sleep(0.002)

    def check(self, tables: Path) -> None:
        sequences = [
            one
            for file in (tables / "payloads").rglob("*.parquet")
            for one in pq.read_table(file, columns=["sequence"], partitioning=None)["sequence"].to_pylist()
        ]
        self.assertEqual(sorted(sequences), list(range(1, BATCHES * LINES + 1)), "each once")
        rejects = [
            one
            for file in (tables / "rejects").rglob("*.parquet")
            for one in pq.read_table(file)["file"].to_pylist()
        ]
        self.assertEqual(len(rejects), BATCHES)
        self.assertEqual(len(set(rejects)), BATCHES)
        self.assertFalse((tables / "_staging").exists())

    def test_a_worker(self) -> None:
        tables = self.folder / "of-worker"
        with cluster(self.folder / "spark-worker") as running:
            job = self.start(running, tables)
            # The worker's executor is its child, and Python's processes are that one's.
            self.wait(job, lambda: any(tables.glob("_staging/*/made/payloads/*/*/*")))
            kill(running.workers[0])
            output, errors = job.communicate(timeout=400)
        self.assertEqual(job.returncode, 2, errors)  # as there are rejects
        self.assertIn(f"{BATCHES * LINES} payloads of {BATCHES} batches", output)
        self.assertIn(f"{BATCHES} rejected, {BATCHES} of them new\n  label: {BATCHES}\n", output)
        self.check(tables)

    def test_the_driver(self) -> None:
        tables = self.folder / "of-driver"
        with cluster(self.folder / "spark-driver") as running:
            for moment in ("_staging/*", "_staging/*/made/payloads/*/*/*"):
                job = self.start(running, tables)
                self.wait(job, lambda moment=moment: any(tables.glob(moment)))  # type: ignore[misc]
                os.killpg(job.pid, signal.SIGKILL)
                job.communicate()
                self.assertFalse(any((tables / "payloads").rglob("*.parquet")), "nothing is half there")
            for end, wanted in (
                (lambda job: job.send_signal(signal.SIGINT), "interrupted; run it again to land the rest"),
                (lambda job: os.kill(children_of(job.pid)[0], signal.SIGKILL), "Spark stopped, as its master or"),
            ):
                before = set(tables.glob("_staging/*/made"))  # its executors may still write
                job = self.start(running, tables)
                self.wait(job, lambda before=before: set(tables.glob("_staging/*/made")) - before)  # type: ignore[misc]
                end(job)
                errors = job.communicate()[1]
                self.assertEqual((job.returncode, errors.count("\n")), (1, 1), errors)
                self.assertTrue(errors.startswith("land: " + wanted), errors)
            job = self.start(running, tables)
            output, errors = job.communicate(timeout=400)
            self.assertEqual(job.returncode, 2, errors)
            self.check(tables)
            pids = [worker.pid for worker in running.workers]
        for pid in pids:
            self.assertEqual(children_of(pid), [])
            self.assertFalse(Path(f"/proc/{pid}").exists(), "nothing is left running")


class Demo(unittest.TestCase):
    def run_demo(self, *options: str, stop_at: str = "") -> tuple[int, str, float]:
        """Exit code, output, and how long it took to end after Ctrl-C at a line that it has printed."""
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        demo = subprocess.Popen(
            [sys.executable, LAND.with_name("demo.py"), *options, "--folder", folder.name],
            stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True,
            preexec_fn=heed_ctrl_c,
        )  # fmt: skip
        output = ""
        assert demo.stdout
        while stop_at and stop_at not in output:
            output += demo.stdout.readline()
        while stop_at and not any(Path(folder.name).rglob("*.ndjson.gz")):
            time.sleep(0.01)
        stopped = time.monotonic()
        if stop_at:
            demo.send_signal(signal.SIGINT)
        output += demo.communicate(timeout=300)[0]
        done = subprocess.run(["pgrep", "-f", folder.name], capture_output=True, text=True)
        self.assertEqual(done.stdout, "", "nothing is left running")
        return demo.returncode, output, time.monotonic() - stopped

    def test_devices_land(self) -> None:
        code, output, _ = self.run_demo("2", "--payloads", "3", "--workers", "1")
        self.assertEqual(code, 0, output)
        self.assertRegex(output, r"pcIdentity\.version\.1 +1\.1\.0 +2 +6\n")
        self.assertIn(f"{2 * 3 * 48} payloads of 2 batches, {2 * 3 * 48} of them new\n0 rejected", output)

    def test_interrupted(self) -> None:
        for moment in ("simulating", "landing"):
            code, output, seconds = self.run_demo("1" if moment == "landing" else "2000", stop_at=moment)
            self.assertEqual(code, 1, output)
            self.assertTrue(output.endswith("demo-fleet: interrupted; what it started is stopped\n"), output)
            self.assertLess(seconds, 30)

    def test_numbers(self) -> None:
        for options in (["0"], ["1", "--payloads", "0"], ["1", "--workers", "0"], ["1", "--port", "65536"]):
            code, output, _ = self.run_demo(*options)
            self.assertEqual(code, 1)
            self.assertRegex(output, rf"\Ademo-fleet: {options[-1]}: is not a .*; name .*\n\Z")


class Missing(unittest.TestCase):
    def setUp(self) -> None:
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = Path(temporary.name)
        write_batch(self.folder / "b/a.ndjson.gz", [label(CONTRACTS, IDENTITY, b"", sequence=n) for n in range(1, 9)])

    def land(self, tables: Path, *options: str, **environment: str) -> str:
        done = subprocess.run(
            [
                sys.executable, LAND, "--contracts", ROOT / "compat/1.0.0/contracts.binpb",
                "--batches", self.folder / "b", "--tables", tables, *options,
            ],
            capture_output=True, text=True, env={**os.environ, **environment},
        )  # fmt: skip
        self.assertEqual(done.returncode, 1, done.stderr)
        self.assertEqual(done.stdout, "")
        lines = done.stderr.splitlines()
        self.assertEqual(len(lines), 1, done.stderr)
        self.assertTrue(lines[0].startswith("land: "), done.stderr)
        return lines[0]

    def test_java(self) -> None:
        said = self.land(self.folder / "t", PATH="/nowhere", JAVA_HOME="")
        self.assertIn("java: was not found; run scripts/setup fleet", said)
        self.assertFalse((self.folder / "t").exists())

        java = self.folder / "bin/java"
        java.parent.mkdir()
        java.write_text("#!/bin/sh\necho broken >&2; exit 1\n")
        java.chmod(0o755)
        said = self.land(self.folder / "t", JAVA_HOME=str(self.folder))
        self.assertIn("Spark: does not begin (", said)

    def test_options(self) -> None:
        for option, value, wanted in (
            ("--contracts", str(self.folder / "nowhere"), "nowhere: cannot be read"),
            ("--contracts", str(LAND), "land.py: is not a descriptor set"),
            ("--conf", "x", "x: is not a setting"),
            ("--conf", "spark.executor.memory=x", "Spark: does not begin (Executor memory must be"),
            ("--master", "nobody", "Spark: does not begin (Master must"),
            ("--master", "local[0]", "Asked to run locally with 0 threads"),
            ("--master", "spark://nobody", "spark://nobody: no master answers; check --master"),
            ("--master", "spark://127.0.0.1:1", "spark://127.0.0.1:1: no master answers"),
        ):
            self.assertIn(wanted, self.land(self.folder / "t", option, value))

    def test_the_port_is_in_use(self) -> None:
        with socket.socket() as taken:
            taken.bind(("127.0.0.1", 0))
            taken.listen()
            port = taken.getsockname()[1]
            with self.assertRaisesRegex(Problem, f"port {port}: is in use"):
                with cluster(self.folder / "spark", port=port):
                    self.fail("began")

    @unittest.skipUnless(os.geteuid() == 0 and shutil.which("mount"), "needs root, to mount a disk")
    def test_the_disk_is_full(self) -> None:
        disk = self.folder / "disk"
        disk.mkdir()
        mounted = subprocess.run(["mount", "-t", "tmpfs", "-o", "size=256k", "tmpfs", disk])
        if mounted.returncode != 0:
            self.skipTest("no disk can be mounted here")
        self.addCleanup(subprocess.run, ["umount", disk], check=True)
        noise = [os.urandom(3000) for _ in range(200)]
        write_batch(
            self.folder / "b/large.ndjson.gz",
            [
                label(CONTRACTS, IDENTITY, b"\xa2\x06\xb8\x17" + one, sequence=n)
                for n, one in enumerate(noise, 100)
            ],
        )
        said = self.land(disk / "t", "--master", "local[1]")
        self.assertIn("the disk is full; free space and run again", said)
        self.assertEqual(list(disk.rglob("*.parquet")), [])
        self.assertFalse((disk / "t/_staging").exists())


if __name__ == "__main__":
    unittest.main()
