"""A connection to a Spark cluster, set up for this job."""

import contextlib
import os
import re
import shutil
import signal
import socket
import sys
import tempfile
import zipfile
from collections.abc import Iterator
from pathlib import Path

from pyspark import SparkConf, SparkContext
from pyspark.errors import PySparkRuntimeError

from fleet.problem import Problem

_HERE = Path(__file__).resolve().parent
# Java only moves what Python made: its best compiler costs more than it gains.
_JAVA = "-XX:TieredStopAtLevel=1"


def require_java() -> None:
    """Raises Problem where there is no Java."""
    home = os.environ.get("JAVA_HOME")
    java = shutil.which(f"{home}/bin/java") if home else shutil.which("java")
    if java is None:
        raise Problem(
            "java: was not found; run scripts/setup fleet, install openjdk-17-jre-headless or set "
            "JAVA_HOME"
        )


@contextlib.contextmanager
def session(master: str, settings: dict[str, str] | None = None) -> Iterator[SparkContext]:
    """Connects to a cluster: "spark://HOST:PORT", or "local[N]" for this process alone."""
    require_java()
    _require_master(master)
    os.environ.setdefault("SPARK_CONF_DIR", str(_HERE.parent / "conf"))
    os.environ["PYSPARK_PYTHON"] = sys.executable
    conf = SparkConf().setMaster(master).setAppName("ovix-fleet")
    for key, value in {
        "spark.driver.host": "127.0.0.1",
        "spark.driver.bindAddress": "127.0.0.1",
        "spark.driver.extraJavaOptions": _JAVA,
        "spark.executor.extraJavaOptions": _JAVA,
        "spark.ui.enabled": "false",
        "spark.log.level": "OFF",
        "spark.ui.showConsoleProgress": "false",
        **(settings or {}),
    }.items():
        conf = conf.set(key, value)
    with tempfile.TemporaryDirectory() as folder:
        # What Java says when it begins, and nobody has asked for unless it does not begin.
        said = Path(folder) / "said"
        is_silent = "spark.log.level" not in (settings or {})
        on_interrupt = signal.getsignal(signal.SIGINT)
        try:
            with _silence(said) if is_silent else contextlib.nullcontext():
                spark = SparkContext(conf=conf)
        except PySparkRuntimeError as error:
            text = said.read_text(errors="replace").strip() if is_silent else ""
            cause = re.search(r"^Exception in .*?(?:Error|Exception): (.*)", text, re.MULTILINE)
            why = cause[1] if cause else text.splitlines()[-1] if text else str(error)
            raise Problem(f"Spark: does not begin ({why}); check --master, --conf and Java") from error
        # Spark's own handler asks Java while Java is in the middle of an answer, which fails.
        signal.signal(signal.SIGINT, on_interrupt)
        try:
            # The workers need this package too, and fetch it when their first task begins.
            packed = Path(folder) / "fleet.zip"
            with zipfile.ZipFile(packed, "w") as archive:
                for module in sorted(_HERE.glob("*.py")):
                    archive.write(module, f"fleet/{module.name}")
            spark.addPyFile(str(packed))
            # What its threads print when Java is gone is not the one line of what ended the run.
            with open(os.devnull, "w") as nowhere:
                with contextlib.redirect_stderr(nowhere if is_silent else sys.stderr):
                    yield spark
        finally:
            spark.stop()


def _require_master(master: str) -> None:
    """Raises Problem where no master answers: Spark tries for a minute, and does not say so then."""
    if not master.startswith("spark://"):
        return
    for address in master.removeprefix("spark://").split(","):
        host, _, port = address.rpartition(":")
        with contextlib.suppress(OSError, OverflowError, ValueError):
            socket.create_connection((host.strip("[]"), int(port)), 10).close()
            return
    raise Problem(f"{master}: no master answers; check --master and that it runs")


@contextlib.contextmanager
def _silence(file: Path) -> Iterator[None]:
    """What is started meanwhile has a file as its standard error."""
    kept = os.dup(2)
    output = os.open(file, os.O_WRONLY | os.O_CREAT)
    try:
        os.dup2(output, 2)
        yield
    finally:
        os.dup2(kept, 2)
        os.close(kept)
        os.close(output)
