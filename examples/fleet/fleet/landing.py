"""The job: batches to tables, each payload once, and rejects with their reasons."""

from dataclasses import dataclass, field
from pathlib import Path

from pyspark.sql import Row, SparkSession
from pyspark.sql import functions as f

from fleet import rows, writer
from fleet.batches import find_batches
from fleet.columns import leaves
from fleet.contracts import contracts_of
from fleet.problem import Problem
from fleet.tables import Tables

# Compressed bytes of batches for which each table gets one more file.
_BYTES_OF_A_SHARE = 1 << 30


@dataclass
class Landed:
    """What became of the payloads of one gun and version."""

    gun: str
    version: str
    devices: int = 0
    payloads: int = 0  # one that came twice in the run counts once
    new: int = 0  # the others were in the table before


@dataclass
class Report:
    """What a run did."""

    batches: int = 0
    landed: list[Landed] = field(default_factory=list)  # by gun
    rejected: dict[str, int] = field(default_factory=dict)  # by reason
    new_rejects: int = 0

    @property
    def payloads(self) -> int:
        """How many landed, now or before."""
        return sum(one.payloads for one in self.landed)

    @property
    def new(self) -> int:
        """How many rows were added."""
        return sum(one.new for one in self.landed)


def land(spark: SparkSession, descriptor_set: bytes, batches: Path, folder: Path) -> Report:
    """Lands all batches of a folder. Raises Problem; the tables are then as they were."""
    paths = find_batches(batches)
    with Tables(folder) as tables:
        columns = _columns(descriptor_set)
        tables.check(columns)
        cores = spark.sparkContext.defaultParallelism
        shares = 1 + sum(path.stat().st_size for path in paths) // _BYTES_OF_A_SHARE
        listed = (
            spark.createDataFrame([(str(path),) for path in paths], "path string")
            .repartition(max(1, min(len(paths), 4 * cores)))
            .mapInArrow(rows.judge_batches(str(batches), descriptor_set), rows.JUDGED_SQL)
            # All of a device's payloads of a gun are in one place: what is the same meets there.
            .repartition(
                2 * cores * shares,
                "gun",
                f.pmod(f.hash(f.coalesce("device", "file")), f.lit(shares)),
            )
            .sortWithinPartitions("gun", "date", "id", "file", "line")
            .mapInArrow(writer.write_tables(tables, descriptor_set), writer.LISTED_SQL)
            .collect()
        )
        tables.publish([row.file for row in listed if row.file is not None], columns)
    return _report(len(paths), listed)


def _columns(descriptor_set: bytes) -> dict[str, dict[str, str]]:
    """The columns of every table, with their types."""
    try:
        return {
            gun: {
                name: kind
                for column in writer.table_schema(payload)
                for name, kind in leaves(column.type, column.name).items()
            }
            for gun, payload in contracts_of(descriptor_set).payloads.items()
        }
    except ValueError as error:
        raise Problem(str(error)) from error


def _report(batches: int, listed: list[Row]) -> Report:
    report = Report(batches)
    landed: dict[tuple[str, str], Landed] = {}
    for row in listed:
        if row.gun is None:
            report.rejected[row.version] = report.rejected.get(row.version, 0) + row.rows
            report.new_rejects += row.new
            continue
        one = landed.setdefault((row.gun, row.version), Landed(row.gun, row.version))
        one.devices += row.devices
        one.payloads += row.rows
        one.new += row.new
    report.landed = [landed[key] for key in sorted(landed)]
    return report
