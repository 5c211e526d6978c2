"""Rows of a table into Parquet files, by the workers. Each row once.

Rows come sorted by table, date and id. A file is whole or is not listed: the driver moves only the
files that tasks which succeeded have listed, so a task that is tried twice does no harm.
"""

import hashlib
import uuid
from collections.abc import Iterable, Iterator
from pathlib import Path
from typing import Any

import pyarrow as pa
import pyarrow.compute as pc
import pyarrow.parquet as pq

from fleet.columns import Build, builder, struct_type
from fleet.contracts import Payload, contracts_of
from fleet.rows import JUDGED, Step
from fleet.tables import Tables

# What a task says of a file that it wrote, or of rows for which it wrote none.
LISTED = pa.schema(
    [
        ("gun", pa.string()),  # null: rejects
        ("version", pa.string()),  # or the reason of rejects
        ("file", pa.string()),  # null: no file
        ("rows", pa.int64()),
        ("new", pa.int64()),
        ("devices", pa.int64()),
    ]
)
LISTED_SQL = "gun string, version string, file string, rows long, new long, devices long"

_LABEL = ("device", "created", "sequence", "id", "version")
_REJECTS = pa.schema(
    [
        ("file", pa.string()),
        ("line", pa.int64()),
        ("reason", pa.string()),
        ("detail", pa.string()),
        ("gun", pa.string()),
        ("version", pa.string()),
        ("device", pa.string()),
        ("created", JUDGED.field("created").type),
        ("sequence", pa.int64()),
        ("id", pa.string()),
        ("bytes", pa.binary()),
        ("key", pa.string()),
    ]
)


def table_schema(payload: Payload) -> pa.Schema:
    """The columns of a table; `date` is in the names of its folders.

    A payload's own fields are in one column: any may have a label's name, now or in a later
    release. Raises ValueError where a message can have no columns.
    """
    return pa.schema(
        [
            *(JUDGED.field(name) for name in _LABEL),
            pa.field("payload", struct_type(payload.descriptor)),
            pa.field("bytes", pa.binary()),
        ]
    )


class _Group:
    """The rows of one table and date, as they come."""

    def __init__(self, gun: str | None, date: str | None, tables: Tables, payload: Payload | None):
        self.gun = gun
        table = tables.rejects if gun is None else tables.table(gun)
        if date is not None:
            table = table / f"date={date}"
        self._key = "key" if gun is None else "id"
        self._known = _known(table, self._key)
        self._file = tables.made(table) / f"{uuid.uuid4().hex}.parquet"
        self._schema = _REJECTS if payload is None else table_schema(payload)
        self._payload = payload
        self._build: Build | None = builder(payload.descriptor) if payload else None
        self._writer: pq.ParquetWriter | None = None
        self._last: str | None = None
        self.counts: dict[str, list[int]] = {}  # by version or reason: rows, new

    def add(self, batch: pa.RecordBatch) -> None:
        """Takes rows; of those with one id the first."""
        keys = _reject_keys(batch) if self.gun is None else batch.column("id")
        listed = keys.to_pylist()
        before = [self._last, *listed[:-1]]
        first = [key != last for key, last in zip(listed, before, strict=True)]
        self._last = listed[-1]
        is_new = pc.and_(pa.array(first), pc.invert(pc.is_in(keys, value_set=self._known)))
        names = batch.column("reason" if self.gun is None else "version").to_pylist()
        for name, counts, new in zip(names, first, is_new.to_pylist(), strict=True):
            count = self.counts.setdefault(name, [0, 0])
            count[0] += counts
            count[1] += new
        rows = batch.append_column("key", keys).filter(is_new)
        if rows.num_rows == 0:
            return
        if self._writer is None:
            self._file.parent.mkdir(parents=True, exist_ok=True)
            self._writer = pq.ParquetWriter(self._file, self._schema, compression="zstd")
        self._writer.write_batch(self._columns(rows))

    def _columns(self, rows: pa.RecordBatch) -> pa.RecordBatch:
        made: dict[str, Any] = {name: rows.column(name) for name in rows.schema.names}
        if self._payload is None or self._build is None:
            made |= {"gun": made["said_gun"], "bytes": made["data"]}
        else:
            parse = self._payload.message.FromString
            made["payload"] = self._build([parse(data) for data in made["data"].to_pylist()])
            made["bytes"] = pc.if_else(
                made["has_unknown"], made["data"], pa.scalar(None, pa.binary())
            )
        return pa.RecordBatch.from_arrays(
            [made[name] for name in self._schema.names], schema=self._schema
        )

    def close(self) -> str | None:
        """Ends the file, if there is one, and names it."""
        if self._writer is None:
            return None
        self._writer.close()
        return str(self._file)


def _known(folder: Path, key: str) -> pa.Array:
    """What the table has already."""
    ids = [pq.read_table(file, columns=[key]).column(key) for file in folder.glob("*.parquet")]
    chunks = [chunk for column in ids for chunk in column.chunks]
    return pa.chunked_array(chunks, pa.string()).combine_chunks()


def _reject_keys(batch: pa.RecordBatch) -> pa.Array:
    """What makes two rejects the same: the place, the reason and the bytes."""
    columns = (batch.column(name).to_pylist() for name in ("file", "line", "reason", "data"))
    parts = zip(*columns, strict=True)
    return pa.array(
        [
            hashlib.sha256(f"{file}\0{line}\0{reason}\0".encode() + data).hexdigest()
            for file, line, reason, data in parts
        ]
    )


def _runs(batch: pa.RecordBatch) -> Iterator[tuple[str | None, str | None, pa.RecordBatch]]:
    """The parts of a batch that are of one table and date."""
    keys = list(zip(batch.column("gun").to_pylist(), batch.column("date").to_pylist(), strict=True))
    start = 0
    for end in range(1, len(keys) + 1):
        if end == len(keys) or keys[end] != keys[start]:
            yield *keys[start], batch.slice(start, end - start)
            start = end


def write_tables(tables: Tables, descriptor_set: bytes) -> Step:
    """Writes rows of JUDGED into files, and lists them."""

    def step(batches: Iterable[pa.RecordBatch]) -> Iterator[pa.RecordBatch]:
        contracts = contracts_of(descriptor_set)
        group: _Group | None = None
        at: tuple[str | None, str | None] = ("", "")
        # A device is counted once for each gun and version, on whatever dates.
        devices: dict[tuple[str | None, str], set[str]] = {}
        listed: list[dict[str, Any]] = []

        def add(gun: str | None, version: str, **rest: Any) -> None:
            nothing = {"file": None, "rows": 0, "new": 0, "devices": 0}
            listed.append({"gun": gun, "version": version, **nothing, **rest})

        def end() -> None:
            if group is None:
                return
            file = group.close()
            for name, (rows, new) in group.counts.items():
                add(group.gun, name, file=file, rows=rows, new=new)
                file = None  # listed once

        for batch in batches:
            for gun, date, part in _runs(batch):
                if (gun, date) != at:
                    end()
                    at = (gun, date)
                    payload = None if gun is None else contracts.payloads[gun]
                    group = _Group(gun, date, tables, payload)
                assert group is not None
                group.add(part)
                if gun is not None:
                    columns = (part.column(name).to_pylist() for name in ("version", "device"))
                    for version, device in zip(*columns, strict=True):
                        devices.setdefault((gun, version), set()).add(device)
        end()
        for (gun, version), found in devices.items():
            add(gun, version, devices=len(found))
        if listed:
            yield pa.RecordBatch.from_pylist(listed, schema=LISTED)

    return step
