"""A connection to a Spark cluster, set up for this job."""

import contextlib
import os
import shutil
import sys
import tempfile
import zipfile
from collections.abc import Iterator
from pathlib import Path

from pyspark import SparkConf, SparkContext

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
        # What Java says when it begins, and nobody has asked for.
        with contextlib.nullcontext() if "spark.log.level" in (settings or {}) else _silence():
            spark = SparkContext(conf=conf)
        try:
            # The workers need this package too, and fetch it when their first task begins.
            packed = Path(folder) / "fleet.zip"
            with zipfile.ZipFile(packed, "w") as archive:
                for module in sorted(_HERE.glob("*.py")):
                    archive.write(module, f"fleet/{module.name}")
            spark.addPyFile(str(packed))
            yield spark
        finally:
            spark.stop()


@contextlib.contextmanager
def _silence() -> Iterator[None]:
    """What is started meanwhile has no standard error."""
    kept = os.dup(2)
    nowhere = os.open(os.devnull, os.O_WRONLY)
    try:
        os.dup2(nowhere, 2)
        yield
    finally:
        os.dup2(kept, 2)
        os.close(kept)
        os.close(nowhere)
