"""Pieces of a table into Parquet files, by the workers. Each row once.

Pieces come sorted by their places. A file is whole or is not listed: the driver moves only the
files that tasks which succeeded have listed, so a task that is tried twice does no harm.
"""

import uuid
from collections.abc import Callable, Iterable, Iterator
from pathlib import Path
from typing import NamedTuple

import pyarrow as pa
import pyarrow.parquet as pq

from fleet.contracts import contracts_of
from fleet.rows import Piece, Place, share_of, table_schema
from fleet.tables import Tables

# What a file's group of rows has at least, if there is as much: readers skip whole groups.
_ROWS = 50_000
_BYTES = 32 << 20


class Listed(NamedTuple):
    """What a task says of a file that it wrote, or of rows for which it wrote none."""

    gun: str  # empty: rejects
    version: str  # or the reason of rejects
    file: str | None = None
    rows: int = 0
    new: int = 0
    devices: int = 0


class _Group:
    """The rows of a share of one table and date, as they come."""

    def __init__(self, place: Place, shares: int, tables: Tables, schema: pa.Schema) -> None:
        self.gun = place.gun
        self._table = tables.rejects if place.gun == "" else tables.table(place.gun)
        if place.date:
            self._table = self._table / f"date={place.date}"
        self._file = tables.made(self._table) / f"{uuid.uuid4().hex}.parquet"
        self._schema = schema
        self._writer: pq.ParquetWriter | None = None
        self._held: list[pa.RecordBatch] = []
        self._seen: set[str] = set()
        self._known = set[str]() if place.gun == "" else self._known_ids(place.share, shares)
        self.counts: dict[str, list[int]] = {}  # by version or reason: rows, new

    def add(self, batch: pa.RecordBatch) -> None:
        """Takes rows; of those with one id the first."""
        if self.gun == "":
            self._known = self._known_keys(batch)
            keys, names = batch.column("key").to_pylist(), batch.column("reason").to_pylist()
        else:
            keys, names = batch.column("id").to_pylist(), batch.column("version").to_pylist()
        is_new = []
        for key, name in zip(keys, names, strict=True):
            is_first = key not in self._seen
            is_new.append(is_first and key not in self._known)
            if is_first:
                self._seen.add(key)
                count = self.counts.setdefault(name, [0, 0])
                count[0] += 1
                count[1] += is_new[-1]
        if not all(is_new):
            batch = batch.filter(pa.array(is_new))
        if batch.num_rows == 0:
            return
        self._held.append(batch)
        if (
            sum(one.num_rows for one in self._held) >= _ROWS
            or sum(one.nbytes for one in self._held) >= _BYTES
        ):
            self._write()

    def _write(self) -> None:
        if not self._held:
            return
        if self._writer is None:
            self._file.parent.mkdir(parents=True, exist_ok=True)
            self._writer = pq.ParquetWriter(self._file, self._schema, compression="zstd")
        self._writer.write_table(pa.Table.from_batches(self._held, self._schema))
        self._held = []

    def close(self) -> str | None:
        """Ends the file, if there is one, and names it."""
        self._write()
        if self._writer is None:
            return None
        self._writer.close()
        return str(self._file)

    def _known_ids(self, share: int, shares: int) -> set[str]:
        """What the table has already of this date and share."""
        known: set[str] = set()
        for file in self._table.glob("*.parquet"):
            with pq.ParquetFile(file) as rows:
                for batch in rows.iter_batches(columns=["id", "device"]):
                    columns = (batch.column(name).to_pylist() for name in ("id", "device"))
                    for key, device in zip(*columns, strict=True):
                        if share_of(device, shares) == share:
                            known.add(key)
        return known

    def _known_keys(self, batch: pa.RecordBatch) -> set[str]:
        """What the table of rejects has already of the batches of these rows."""
        of_batches = [("file", "in", batch.column("file").unique().to_pylist())]
        return {
            key
            for file in self._table.glob("*.parquet")
            for key in pq.read_table(file, columns=["key"], filters=of_batches)["key"].to_pylist()
        }


def write_tables(
    tables: Tables, descriptor_set: bytes, shares: int
) -> Callable[[Iterable[Piece]], Iterator[Listed]]:
    """Writes pieces into files, and lists them."""

    def step(pieces: Iterable[Piece]) -> Iterator[Listed]:
        payloads = contracts_of(descriptor_set).payloads
        group: _Group | None = None
        at: tuple[str, int, str] | None = None
        # A device is counted once for each gun and version, on whatever dates.
        devices: dict[tuple[str, str], set[str]] = {}

        def end() -> Iterator[Listed]:
            if group is None:
                return
            file = group.close()
            for name, (rows, new) in group.counts.items():
                yield Listed(group.gun, name, file, rows, new)
                file = None  # listed once

        for place, stream in pieces:
            if place[:3] != at or group is None:
                yield from end()
                at = place[:3]
                payload = payloads[place.gun] if place.gun else None
                group = _Group(place, shares, tables, table_schema(payload))
            with pa.ipc.open_stream(stream) as batches:
                for batch in batches:
                    group.add(batch)
                    if place.gun:
                        columns = (batch.column(name).to_pylist() for name in ("version", "device"))
                        for version, device in set(zip(*columns, strict=True)):
                            devices.setdefault((place.gun, version), set()).add(device)
        yield from end()
        for (gun, version), found in devices.items():
            yield Listed(gun, version, devices=len(found))

    return step
