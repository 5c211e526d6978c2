"""A standalone Spark cluster on this machine's loopback: a master and workers, real processes."""

import contextlib
import os
import re
import signal
import subprocess
import time
from collections.abc import Iterator
from dataclasses import dataclass
from pathlib import Path

import pyspark

from fleet.problem import Problem
from fleet.session import require_java

_BEGINS_WITHIN = 120  # seconds
_SPARK = Path(pyspark.__file__).resolve().parent


@dataclass
class Cluster:
    """What runs, until the context ends."""

    master: str  # spark://127.0.0.1:PORT
    workers: list[subprocess.Popen[bytes]]


@contextlib.contextmanager
def cluster(work: Path, workers: int = 2, memory: str = "1g", port: int = 0) -> Iterator[Cluster]:
    """Starts a master, on a free port unless one is given, and workers of one core each.

    Their files and logs are in `work`. Nothing of them is left when the context ends, however it
    does. Raises Problem.
    """
    require_java()
    work.mkdir(parents=True, exist_ok=True)
    conf = work / "conf"  # none of the job's settings, which turn logs off
    conf.mkdir(exist_ok=True)
    environment = {
        **os.environ,
        "SPARK_HOME": str(_SPARK),
        "SPARK_CONF_DIR": str(conf),
        "SPARK_LOCAL_IP": "127.0.0.1",
        "SPARK_LOCAL_DIRS": str(work),
        "SPARK_DAEMON_MEMORY": "256m",
        "SPARK_MASTER_OPTS": "-Dspark.port.maxRetries=0 -Dspark.master.rest.enabled=false",
    }
    with contextlib.ExitStack() as stack:
        log = work / "master.log"
        options = ["--host", "127.0.0.1", "--port", str(port), "--webui-port", "0"]
        master = stack.enter_context(
            _process("org.apache.spark.deploy.master.Master", options, log, environment)
        )
        address = _wait(master, log, r"Starting Spark master at (spark://\S+)", f"port {port}")
        started = []
        for number in range(workers):
            log = work / f"worker{number}.log"
            options = ["--host", "127.0.0.1", "--cores", "1", "--memory", memory]
            options += ["--webui-port", "0", "--work-dir", str(work), address]
            worker = stack.enter_context(
                _process("org.apache.spark.deploy.worker.Worker", options, log, environment)
            )
            started.append((worker, log))
        for worker, log in started:
            _wait(worker, log, r"Successfully registered with master (\S+)", "a worker")
        yield Cluster(address, [worker for worker, _ in started])


@contextlib.contextmanager
def _process(
    name: str, options: list[str], log: Path, environment: dict[str, str]
) -> Iterator[subprocess.Popen[bytes]]:
    with log.open("wb") as output:
        process = subprocess.Popen(
            # It ends with this process, however that ends. A preexec_fn would do it too, but lose a
            # Ctrl-C that comes meanwhile.
            ["setpriv", "--pdeathsig", "TERM", _SPARK / "bin/spark-class", name, *options],
            stdin=subprocess.DEVNULL,
            stdout=output,
            stderr=subprocess.STDOUT,
            env=environment,
            # Ctrl-C is for this process, which stops the others.
            start_new_session=True,
        )
    try:
        yield process
    finally:
        kill(process, signal.SIGTERM)


def kill(process: subprocess.Popen[bytes], how: signal.Signals = signal.SIGKILL) -> None:
    """Ends a process and all that it has started."""
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, how)
    with contextlib.suppress(subprocess.TimeoutExpired):
        process.wait(10)
    with contextlib.suppress(ProcessLookupError):
        os.killpg(process.pid, signal.SIGKILL)
    process.wait()


def _wait(process: subprocess.Popen[bytes], log: Path, pattern: str, what: str) -> str:
    until = time.monotonic() + _BEGINS_WITHIN
    while time.monotonic() < until:
        text = log.read_text(errors="replace")
        if found := re.search(pattern, text):
            return found[1]
        if process.poll() is not None:
            if "BindException" in text:
                raise Problem(f"{what}: is in use; name another, or 0 for any that is free")
            break
        time.sleep(0.05)
    raise Problem(f"Spark: does not begin; its log is {log}")
