"""The job: batches to tables, each payload once, and rejects with their reasons."""

import itertools
from dataclasses import dataclass, field
from pathlib import Path

from pyspark import SparkContext

from fleet import rows, writer
from fleet.batches import find_batches
from fleet.columns import paths
from fleet.contracts import contracts_of
from fleet.problem import Problem
from fleet.tables import Tables

# Compressed bytes of batches for which each table gets one more file, and which one task reads.
_BYTES_OF_A_SHARE = 1 << 30
_BYTES_OF_A_PART = 64 << 20


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


def land(spark: SparkContext, descriptor_set: bytes, batches: Path, folder: Path) -> Report:
    """Lands all batches of a folder. Raises Problem; the tables are then as they were."""
    paths = find_batches(batches)
    with Tables(folder) as tables:
        columns = _columns(descriptor_set)
        tables.check(columns)
        total = sum(path.stat().st_size for path in paths)
        shares = 1 + total // _BYTES_OF_A_SHARE
        tasks = 4 * spark.defaultParallelism
        parts = _parts(paths, max(tasks, total // _BYTES_OF_A_PART))
        number = {gun: index for index, gun in enumerate(sorted(columns))}
        listed = (
            spark.parallelize(parts, len(parts))
            .mapPartitions(rows.make_pieces(str(batches), descriptor_set, shares))
            # All of a device's payloads of a gun are in one place: what is the same meets there.
            .repartitionAndSortWithinPartitions(  # type: ignore[type-var]  # tuples are ordered
                min(tasks * shares, (len(columns) + 1) * shares),
                lambda place: number.get(place.gun, len(number)) * shares + place.share,
                keyfunc=tuple,
            )
            .mapPartitions(writer.write_tables(tables, descriptor_set, shares))
            .collect()
        )
        tables.publish([one.file for one in listed if one.file is not None], columns)
    return _report(len(paths), listed)


def _parts(paths: list[Path], most: int) -> list[rows.Part]:
    """Batches in tasks of about the same size, as many as `most`."""
    count = max(1, min(most, len(paths)))
    ends = [len(paths) * number // count for number in range(count + 1)]
    return [
        rows.Part(first, [str(path) for path in paths[first:end]])
        for first, end in itertools.pairwise(ends)
    ]


def _columns(descriptor_set: bytes) -> dict[str, dict[str, str]]:
    """The columns of every table, with their types."""
    try:
        return {
            gun: {
                name: kind
                for column in rows.table_schema(payload)
                for name, kind in paths(column.type, column.name).items()
            }
            for gun, payload in contracts_of(descriptor_set).payloads.items()
        }
    except ValueError as error:
        raise Problem(str(error)) from error


def _report(batches: int, listed: list[writer.Listed]) -> Report:
    report = Report(batches)
    landed: dict[tuple[str, str], Landed] = {}
    for row in listed:
        if row.gun == "":
            report.rejected[row.version] = report.rejected.get(row.version, 0) + row.rows
            report.new_rejects += row.new
            continue
        one = landed.setdefault((row.gun, row.version), Landed(row.gun, row.version))
        one.devices += row.devices
        one.payloads += row.rows
        one.new += row.new
    report.landed = [landed[key] for key in sorted(landed)]
    return report
