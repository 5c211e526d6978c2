"""Rows on their way: batches to pieces of the tables, which Spark moves between workers.

Spark moves few large pieces, not each row: a piece is some rows of one table and day, as columns.
"""

import functools
import gc
import hashlib
import os
import zlib
from collections.abc import Callable, Iterable, Iterator
from dataclasses import dataclass
from pathlib import Path
from typing import Any, NamedTuple

import pyarrow as pa

from fleet.batches import read_lines
from fleet.columns import Build, builder, struct_type
from fleet.contracts import Contracts, Payload, contracts_of
from fleet.verdict import Verdict, judge

# What a worker holds before it makes pieces of it.
_MOST_ROWS = 20_000
_MOST_BYTES = 32 << 20

_CREATED = pa.timestamp("us", "UTC")
_REJECTS = pa.schema(
    [
        ("file", pa.string()),
        ("line", pa.int64()),
        ("reason", pa.string()),
        ("detail", pa.string()),
        ("gun", pa.string()),
        ("version", pa.string()),
        ("device", pa.string()),
        ("created", _CREATED),
        ("sequence", pa.int64()),
        ("id", pa.string()),
        ("bytes", pa.binary()),
        ("key", pa.string()),
    ]
)


class Place(NamedTuple):
    """Where a piece belongs. In this order, rows of a table and day are in that of the batches."""

    gun: str  # empty: rejects
    share: int  # of a table; all payloads of a device are in one
    date: str  # empty: rejects
    file: int  # not before which batch and line its rows are
    line: int


_Row = tuple[str, int, Verdict]  # of which batch and line
Piece = tuple[Place, bytes]  # a stream of Arrow, with the columns of the table


@dataclass(frozen=True)
class Part:
    """Batches that a worker reads in one task: the number of the first, and their paths."""

    first: int
    paths: list[str]


def table_schema(payload: Payload | None) -> pa.Schema:
    """The columns of a table, or of the rejects; `date` is in the names of the table's folders.

    A payload's own fields are in one column: any may have the name of a key of the metadata, now or
    in a later release. Raises ValueError where a message can have no columns.
    """
    if payload is None:
        return _REJECTS
    return pa.schema(
        [
            ("device", pa.string()),
            ("created", _CREATED),
            ("sequence", pa.int64()),
            ("id", pa.string()),
            ("version", pa.string()),
            ("payload", struct_type(payload.descriptor)),
            ("bytes", pa.binary()),
        ]
    )


def share_of(name: str, shares: int) -> int:
    """The share of a device, or of the rejects of a batch."""
    return zlib.crc32(name.encode()) % shares if shares > 1 else 0


def make_pieces(
    root: str, descriptor_set: bytes, shares: int
) -> Callable[[Iterable[Part]], Iterator[Piece]]:
    """Reads batches to pieces. Rejects name paths below `root`."""

    def step(parts: Iterable[Part]) -> Iterator[Piece]:
        contracts = contracts_of(descriptor_set)
        # Looking for cycles among thousands of messages, of which there are none, takes long.
        if gc.isenabled():
            gc.freeze()
            gc.disable()
        for part in parts:
            held: dict[tuple[str, int, str], list[_Row]] = {}
            rows = size = 0
            start = (part.first, 1)
            for number, path in enumerate(part.paths, part.first):
                # A name can be any bytes, a string of a table cannot.
                name = os.fsencode(Path(path).relative_to(root))
                file = name.decode(errors="backslashreplace")
                for line in read_lines(Path(path)):
                    if rows == 0:
                        start = (number, line.number)
                    verdict = judge(line, contracts)
                    if verdict.message is None:
                        key = ("", share_of(file, shares), "")
                    else:
                        share = share_of(verdict.device or "", shares)
                        key = (verdict.gun or "", share, verdict.date)
                    held.setdefault(key, []).append((file, line.number, verdict))
                    rows += 1
                    size += len(verdict.data)
                    if rows >= _MOST_ROWS or size >= _MOST_BYTES:
                        yield from _pieces(held, start, contracts)
                        held = {}
                        rows = size = 0
                        gc.collect()
            yield from _pieces(held, start, contracts)

    return step


def _pieces(
    held: dict[tuple[str, int, str], list[_Row]], start: tuple[int, int], contracts: Contracts
) -> Iterator[Piece]:
    for key, rows in held.items():
        batch = _rejects_of(rows) if key[0] == "" else _rows_of(rows, contracts.payloads[key[0]])
        stream = pa.BufferOutputStream()
        with pa.ipc.new_stream(stream, batch.schema) as writer:
            writer.write_batch(batch)
        yield Place(*key, *start), stream.getvalue().to_pybytes()


def _rows_of(rows: list[_Row], payload: Payload) -> pa.RecordBatch:
    verdicts = [verdict for _, _, verdict in rows]
    schema, build = _table_of(payload)
    return _batch(
        schema,
        device=[one.device for one in verdicts],
        created=[one.created for one in verdicts],
        sequence=[one.sequence for one in verdicts],
        id=[one.id for one in verdicts],
        version=[one.version for one in verdicts],
        payload=build([one.message for one in verdicts]),
        bytes=[one.data if one.has_unknown else None for one in verdicts],
    )


@functools.lru_cache(maxsize=1000)
def _table_of(payload: Payload) -> tuple[pa.Schema, Build]:
    return table_schema(payload), builder(payload.message)


def _rejects_of(rows: list[_Row]) -> pa.RecordBatch:
    verdicts = [verdict for _, _, verdict in rows]
    return _batch(
        _REJECTS,
        file=[file for file, _, _ in rows],
        line=[line for _, line, _ in rows],
        reason=[one.reason and one.reason.value for one in verdicts],
        detail=[one.detail for one in verdicts],
        gun=[one.gun for one in verdicts],
        version=[one.version for one in verdicts],
        device=[one.device for one in verdicts],
        created=[one.created for one in verdicts],
        sequence=[one.sequence for one in verdicts],
        id=[one.id for one in verdicts],
        bytes=[one.data for one in verdicts],
        key=[_reject_key(*row) for row in rows],
    )


def _batch(schema: pa.Schema, **columns: Any) -> pa.RecordBatch:
    return pa.RecordBatch.from_arrays(
        [
            column if isinstance(column, pa.Array) else pa.array(column, field.type)
            for field, column in zip(schema, columns.values(), strict=True)
        ],
        schema=schema,
    )


def _reject_key(file: str, line: int, verdict: Verdict) -> str:
    """What makes two rejects the same: the place, the reason and the bytes."""
    place = f"{file}\0{line}\0{verdict.reason and verdict.reason.value}\0"
    return hashlib.sha256(place.encode() + verdict.data).hexdigest()
