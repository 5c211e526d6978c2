"""Lands batches of payloads in Parquet tables, on Apache Spark.

land.py --contracts contracts.binpb --batches FOLDER --tables FOLDER [--master spark://HOST:PORT]
"""

import argparse
import os
import signal
import sys
import time
from pathlib import Path

from py4j.protocol import Py4JError
from pyspark.errors import PySparkException

from fleet.contracts import read_descriptor_set
from fleet.landing import land
from fleet.problem import Problem
from fleet.report import cause_of, print_report
from fleet.session import session


def main() -> int:
    """Exit code: 0 all landed, 2 some were rejected, 1 nothing was done."""
    parser = argparse.ArgumentParser(description="Lands batches of payloads in Parquet tables.")
    parser.add_argument("--contracts", type=Path, required=True, help="contracts.binpb")
    parser.add_argument("--batches", type=Path, required=True, help="folder of *.ndjson.gz")
    parser.add_argument("--tables", type=Path, required=True, help="folder of the tables")
    parser.add_argument("--master", default="local[*]", help="the cluster (default: this process)")
    parser.add_argument(
        "--conf", action="append", default=[], metavar="KEY=VALUE", help="a setting of Spark"
    )
    arguments = parser.parse_args()
    errors = os.dup(2)

    def interrupt(*_: object) -> None:
        # At once, as if it was killed: Java answers nothing before the job has ended.
        os.write(errors, b"land: interrupted; run it again to land the rest\n")
        os._exit(1)

    signal.signal(signal.SIGINT, interrupt)
    started = time.monotonic()
    try:
        settings = {}
        for setting in arguments.conf:
            key, equals, value = setting.partition("=")
            if not equals:
                raise Problem(f"{setting}: is not a setting; write KEY=VALUE")
            settings[key] = value
        descriptor_set = read_descriptor_set(arguments.contracts)
        with session(arguments.master, settings) as spark:
            report = land(
                spark, descriptor_set, arguments.batches.resolve(), arguments.tables.resolve()
            )
    except Problem as problem:
        print(f"land: {problem}", file=sys.stderr)
        return 1
    except (PySparkException, Py4JError, OSError, RuntimeError) as error:
        print(f"land: {cause_of(error, arguments.tables)}", file=sys.stderr)
        return 1
    print_report(report, time.monotonic() - started)
    return 2 if report.rejected else 0


if __name__ == "__main__":
    code = main()
    sys.stdout.flush()
    # Spark's own threads can wait for a cluster that is gone.
    os._exit(code)
