"""Rows on their way: what is known of each line of a batch, as Spark moves it between workers."""

from collections.abc import Callable, Iterable, Iterator
from pathlib import Path

import pyarrow as pa

from fleet.batches import Line, read_lines
from fleet.contracts import contracts_of
from fleet.verdict import Verdict, judge

# A piece that goes to Spark at once.
_MOST_ROWS = 2000
_MOST_BYTES = 8 << 20

# `gun` is null for rejects, whatever their label says: they share a table.
JUDGED = pa.schema(
    [
        ("gun", pa.string()),
        ("date", pa.string()),
        ("id", pa.string()),
        ("file", pa.string()),
        ("line", pa.int64()),
        ("reason", pa.string()),
        ("detail", pa.string()),
        ("said_gun", pa.string()),
        ("version", pa.string()),
        ("device", pa.string()),
        ("created", pa.timestamp("us", "UTC")),
        ("sequence", pa.int64()),
        ("data", pa.binary()),
        ("has_unknown", pa.bool_()),
    ]
)
JUDGED_SQL = (
    "gun string, date string, id string, file string, line long, reason string, detail string, "
    "said_gun string, version string, device string, created timestamp, sequence long, "
    "data binary, has_unknown boolean"
)

Step = Callable[[Iterable[pa.RecordBatch]], Iterable[pa.RecordBatch]]
_Row = tuple[str, Line, Verdict]


def _batch_of(rows: list[_Row]) -> pa.RecordBatch:
    verdicts = [verdict for _, _, verdict in rows]
    taken = [verdict.reason is None for verdict in verdicts]
    columns = [
        [one.gun if ok else None for one, ok in zip(verdicts, taken, strict=True)],
        [
            str(one.created.date()) if ok and one.created else None
            for one, ok in zip(verdicts, taken, strict=True)
        ],
        [one.id for one in verdicts],
        [file for file, _, _ in rows],
        [line.number for _, line, _ in rows],
        [one.reason and one.reason.value for one in verdicts],
        [one.detail for one in verdicts],
        [one.gun for one in verdicts],
        [one.version for one in verdicts],
        [one.device for one in verdicts],
        [one.created for one in verdicts],
        [one.sequence for one in verdicts],
        [one.data for one in verdicts],
        [one.has_unknown for one in verdicts],
    ]
    arrays = [pa.array(values, kind) for values, kind in zip(columns, JUDGED.types, strict=True)]
    return pa.RecordBatch.from_arrays(arrays, schema=JUDGED)


def judge_batches(root: str, descriptor_set: bytes) -> Step:
    """Reads batches, whose paths are given, to rows of JUDGED. Rejects name paths below `root`."""

    def step(batches: Iterable[pa.RecordBatch]) -> Iterator[pa.RecordBatch]:
        contracts = contracts_of(descriptor_set)
        rows: list[_Row] = []
        size = 0
        for batch in batches:
            for path in batch.column(0).to_pylist():
                file = str(Path(path).relative_to(root))
                for line in read_lines(Path(path)):
                    verdict = judge(line, contracts)
                    line.text = b""  # of which the verdict has what is kept
                    rows.append((file, line, verdict))
                    size += len(verdict.data)
                    if len(rows) >= _MOST_ROWS or size >= _MOST_BYTES:
                        yield _batch_of(rows)
                        rows, size = [], 0
        if rows:
            yield _batch_of(rows)

    return step
