"""What lands is what was sent: every field, once, whatever is run again or goes wrong."""

import base64
import contextlib
import datetime
import gzip
import json
import os
import struct
import subprocess
import tempfile
import unittest
from pathlib import Path
from typing import Any
from unittest import mock

import pyarrow.parquet as pq
from google.protobuf import descriptor_pb2
from pyspark.sql import Row, SparkSession

from fleet import landing, rows, tables, writer
from fleet.batches import find_batches
from fleet.contracts import Contracts
from fleet.landing import Report, land
from fleet.problem import Problem
from fleet.session import session
from fleet.simulate import simulate
from fleet.verdict import Reason
from support import (
    CATEGORY, DEVICE, IDENTITY, RELEASED, add_field, changed, label, set_version, tool, write_batch,
)  # fmt: skip

DEVICES = int(os.environ.get("OVIX_FLEET_DEVICES", "20"))
DAY = datetime.date(2026, 11, 21)
CONTRACTS = Contracts(RELEASED)
# Of each contract and device, so that as many are compared as the variable says.
PAYLOADS = -(-int(os.environ.get("OVIX_FLEET_PAYLOADS", "1")) // (DEVICES * len(CONTRACTS.payloads)))
SOUND = b"\x0a\x051.1.0\x12\x03abc\x5a\x02\x08\x07"


class Landing(unittest.TestCase):
    @classmethod
    def setUpClass(cls) -> None:
        stack = contextlib.ExitStack()
        cls.addClassCleanup(stack.close)
        cls.context = stack.enter_context(session("local[2]"))
        # A date is a string in UTC, and stays one when it is read back from a folder's name.
        cls.spark = (
            SparkSession(cls.context).builder
            .config("spark.sql.session.timeZone", "UTC")
            .config("spark.sql.sources.partitionColumnTypeInference.enabled", "false")
            .getOrCreate()
        )  # fmt: skip

    def setUp(self) -> None:
        temporary = tempfile.TemporaryDirectory()
        self.addCleanup(temporary.cleanup)
        self.folder = Path(temporary.name)
        self.batches = self.folder / "batches"
        self.tables = self.folder / "tables"

    def land(self, descriptor_set: bytes = RELEASED) -> Report:
        return land(self.context, descriptor_set, self.batches, self.tables)

    def rows(self, gun: str) -> list[Row]:
        found = self.spark.read.option("mergeSchema", "true").parquet(
            str(self.tables / "payloads" / gun)
        )
        return found.orderBy("device", "sequence").collect()

    def rejects(self) -> list[tuple[str, int, str]]:
        found = self.spark.read.parquet(str(self.tables / "rejects")).orderBy("file", "line")
        return [(row.file, row.line, row.reason) for row in found.collect()]

    def size(self) -> int:
        return sum(path.stat().st_size for path in self.batches.rglob("*.gz"))

    def files(self) -> set[Path]:
        return {path.relative_to(self.tables) for path in self.tables.rglob("*.parquet")}

    def test_nothing_differs(self) -> None:
        installed = Path(os.environ["OVIX_DESCRIPTOR_SET"]).read_bytes()
        simulate(
            Path(tool()), Path(os.environ["OVIX_FLEET_DEVICE"]), DEVICES, PAYLOADS, DAY, self.batches
        )
        # In three shares, then in five: what is the same meets all the same.
        with mock.patch.object(landing, "_BYTES_OF_A_SHARE", self.size() // 2 - 1):
            report = self.land(installed)
        self.assertEqual(report.rejected, {})
        contracts = Contracts(installed)
        self.assertEqual({one.gun for one in report.landed}, set(contracts.payloads))
        self.assertEqual({one.devices for one in report.landed}, {DEVICES})
        self.assertEqual(report.new, DEVICES * PAYLOADS * len(contracts.payloads))

        lines: dict[str, dict[str, Any]] = {}
        for path in self.batches.iterdir():
            with gzip.open(path) as batch:
                for line in map(json.loads, batch):
                    lines[line["id"]] = line
        compared = 0
        for gun, payload in contracts.payloads.items():
            # Without Spark, as another engine would.
            rows = [
                row | {"date": file.parent.name}
                for file in (self.tables / "payloads" / gun).rglob("*.parquet")
                for row in pq.read_table(file, partitioning=None).to_pylist()
            ]
            sent = [lines.pop(row["id"]) for row in rows]
            for row, one in zip(rows, sent, strict=True):
                for key in ("device", "sequence", "version"):
                    self.assertEqual(row[key], one[key])
                self.assertIsNone(row["bytes"])
                created = row["created"].strftime("%Y-%m-%dT%H:%M:%S.%f")[:-3] + "Z"
                self.assertEqual(created, one["created"])
                self.assertEqual(row["date"], "date=" + created[:10])
            values = decode(payload.descriptor.full_name, [one["data"] for one in sent])
            for row, value in zip(rows, values, strict=True):
                compare(self, payload.descriptor, row["payload"], value, payload.descriptor.name)
                compared += 1
        self.assertEqual(lines, {}, "every payload is in its table")
        print(f"\n{compared} payloads of {len(contracts.payloads)} contracts differ in nothing")

        # All of it once more, and some of it twice.
        before = self.files()
        (self.batches / "again").mkdir()
        first = sorted(self.batches.glob("*.gz"))[0]
        (self.batches / "again" / first.name).write_bytes(first.read_bytes())
        with mock.patch.object(landing, "_BYTES_OF_A_SHARE", self.size() // 4 - 1):
            again = self.land(installed)
        self.assertEqual((again.new, again.payloads), (0, compared))
        self.assertEqual({one.devices for one in again.landed}, {DEVICES})
        self.assertEqual(self.files(), before)

    def test_bad_lines_are_kept_with_their_reasons(self) -> None:
        good = [label(CONTRACTS, IDENTITY, SOUND, sequence=n) for n in (1, 2, 3)]
        newer = label(CONTRACTS, IDENTITY, SOUND, sequence=7, version="1.2.0")
        bad = [
            (b"not JSON", Reason.LABEL),
            (label(CONTRACTS, IDENTITY, SOUND, device="nobody"), Reason.LABEL),
            (label(CONTRACTS, IDENTITY, SOUND, sha256="0" * 64), Reason.HASH),
            (label(CONTRACTS, IDENTITY, SOUND, gun=CATEGORY + "no.version.1"), Reason.UNKNOWN_GUN),
            (newer, Reason.NEWER_VERSION),
            (label(CONTRACTS, IDENTITY, SOUND[:-1]), Reason.MALFORMED),
            (label(CONTRACTS, IDENTITY, b"\x12\x01\xff"), Reason.NOT_UTF8),
        ]
        write_batch(self.batches / "x/a.ndjson.gz", [good[0], *(line for line, _ in bad), good[1]])
        whole = (self.batches / "x/a.ndjson.gz").read_bytes()
        (self.batches / "b.ndjson.gz").write_bytes(whole[:-30])
        (self.batches / "c.ndjson.gz").write_bytes(b"not gzip")
        Path(os.fsdecode(bytes(self.batches) + b"/c\xff.ndjson.gz")).write_bytes(b"not gzip")
        write_batch(self.batches / "d.ndjson.gz", [good[0], good[2]])
        report = self.land()
        wanted = [("x/a.ndjson.gz", n, reason.value) for n, (_, reason) in enumerate(bad, 2)]
        cut = [row for row in self.rejects() if row[0] == "b.ndjson.gz"]
        self.assertEqual(cut[-1][2], Reason.MALFORMED.value, "where it is cut off")
        self.assertEqual(
            [row for row in self.rejects() if row[0] != "b.ndjson.gz"],
            [(name, 1, Reason.MALFORMED.value) for name in ("c.ndjson.gz", "c\\xff.ndjson.gz")] + wanted,
        )
        self.assertEqual([row.sequence for row in self.rows(IDENTITY)], [1, 2, 3])
        self.assertEqual(report.new, 3)
        self.assertEqual(sum(report.rejected.values()), len(self.rejects()))
        kept = self.spark.read.parquet(str(self.tables / "rejects")).where("reason = 'hash'").first()
        self.assertEqual((bytes(kept.bytes), kept.gun, kept.device), (SOUND, IDENTITY, DEVICE))
        # Once more changes nothing; contracts that know the version land what was too new.
        rejected = self.rejects()
        self.assertEqual(self.land().new_rejects, 0)
        self.assertEqual(self.rejects(), rejected)

        def raise_version(find: Any) -> None:
            set_version(RELEASED, find("IdentityAsCDM"), "1.2.0")

        self.land(changed(RELEASED, raise_version))
        self.assertEqual([row.sequence for row in self.rows(IDENTITY)], [1, 2, 3, 7])

    def test_releases_land_in_one_table(self) -> None:
        def release(find: Any) -> None:
            identity = find("IdentityAsCDM")
            set_version(RELEASED, identity, "1.2.0")
            add_field(identity, "counter", 12, "uint64")
            add_field(identity, "device", 13, "string")  # the name of a key of the metadata
            add_field(find("DeviceRefInfo"), "since", 3, "uint32")

        newer = changed(RELEASED, release)
        contracts = Contracts(newer)
        identity = contracts.payloads[IDENTITY].message
        new = identity(version="1.2.0", counter=2**64 - 1, device="x")
        new.device_ref_info.since = 2**32 - 1
        write_batch(self.batches / "old.ndjson.gz", [label(CONTRACTS, IDENTITY, SOUND)])
        self.assertEqual(self.land().new, 1)
        write_batch(
            self.batches / "new.ndjson.gz",
            [
                label(contracts, IDENTITY, new.SerializeToString(), sequence=2),
                label(contracts, IDENTITY, SOUND, sequence=3, version="1.1.0"),
                label(contracts, IDENTITY, SOUND + b"\x98\x3f\x01", sequence=4),
            ],
        )
        self.assertEqual(self.land(newer).new, 3)
        rows = self.rows(IDENTITY)
        self.assertEqual([row.version for row in rows], ["1.1.0", "1.2.0", "1.1.0", "1.2.0"])
        self.assertEqual([row.payload.counter for row in rows], [None, 2**64 - 1, None, None])
        since = [row.payload.device_ref_info.since for row in rows]
        self.assertEqual(since, [None, 2**32 - 1, None, None])
        self.assertEqual([row.payload.device for row in rows], [None, "x", None, None])
        self.assertEqual([row.device for row in rows], [DEVICE] * 4)
        kept = [row.bytes and bytes(row.bytes) for row in rows]
        self.assertEqual(kept, [None, None, None, SOUND + b"\x98\x3f\x01"])
        # Older contracts land what is new to them neither wrongly nor without a word.
        write_batch(
            self.batches / "late.ndjson.gz",
            [label(contracts, IDENTITY, new.SerializeToString(), sequence=9)],
        )
        self.assertEqual(self.land().rejected[Reason.NEWER_VERSION.value], 3)
        self.assertEqual(len(self.rows(IDENTITY)), 4)

        # A type that changed without a new number: by a sender, and by the contracts.
        def misversion(find: Any) -> None:
            for field in find("IdentityAsCDM").field:
                if field.name == "serial_number":
                    field.type = descriptor_pb2.FieldDescriptorProto.TYPE_UINT32

        other = Contracts(changed(RELEASED, misversion))
        data = other.payloads[IDENTITY].message(serial_number=7).SerializeToString()
        write_batch(self.batches / "late.ndjson.gz", [label(other, IDENTITY, data, sequence=10)])
        self.assertEqual(self.land(newer).rejected, {Reason.MALFORMED.value: 1})
        detail = self.spark.read.parquet(str(self.tables / "rejects")).where("reason = 'malformed'")
        self.assertIn("IdentityAsCDM.serial_number has another type", detail.first().detail)
        def repeat(find: Any) -> None:
            field = find("IdentityAsCDM").field[-1]  # the last: the indexes of the other oneofs stay
            field.label = field.LABEL_REPEATED
            field.ClearField("proto3_optional")
            field.ClearField("oneof_index")
            del find("IdentityAsCDM").oneof_decl[-1]

        before = self.files()
        for change, wanted in (
            (misversion, "payload.serial_number is string, .* int64"),
            (repeat, "payload.device_ref_info is struct, .* list"),
        ):
            with self.assertRaisesRegex(Problem, wanted):
                self.land(changed(RELEASED, change))
        self.assertEqual(self.files(), before)
        (self.tables / "payloads" / IDENTITY / "_columns.json").write_text("{")
        with self.assertRaisesRegex(Problem, "_columns.json: is damaged"):
            self.land(newer)

    def test_a_run_that_ends_while_files_are_moved_leaves_no_hole_and_no_double(self) -> None:
        hardware = CATEGORY + "pcHwComponentsInfo.version.1"
        lines = [label(CONTRACTS, gun, b"", sequence=n) for gun in (IDENTITY, hardware) for n in (1, 2)]
        write_batch(self.batches / "a.ndjson.gz", lines + [b"bad"])
        for moves in (0, 1, 2):
            left = moves
            rename = os.rename

            def fail(*names: Any) -> None:
                nonlocal left
                if left == 0:
                    raise KeyboardInterrupt
                left -= 1
                rename(*names)

            with mock.patch.object(tables.os, "rename", fail), self.assertRaises(KeyboardInterrupt):
                self.land()
        report = self.land()
        self.assertEqual(report.payloads, 4)
        for gun in (IDENTITY, hardware):
            self.assertEqual([row.sequence for row in self.rows(gun)], [1, 2])
        self.assertEqual(self.rejects(), [("a.ndjson.gz", 5, "label")])
        self.assertFalse((self.tables / "_staging").exists())

    def test_rows_that_take_many_pieces_are_all_there_in_their_order(self) -> None:
        for batch, first in (("b", 31), ("a", 1)):
            lines = [label(CONTRACTS, IDENTITY, SOUND, sequence=n) for n in range(first, first + 30)]
            again = label(CONTRACTS, IDENTITY, SOUND, sequence=1, version="1.0.0")  # with the id of the first
            write_batch(self.batches / f"{batch}.ndjson.gz", [*lines, again])
        # Without Spark: its workers would not see these limits.
        with (
            tables.Tables(self.tables) as folder,
            mock.patch.multiple(rows, _MOST_ROWS=7),
            mock.patch.multiple(writer, _ROWS=10),
        ):
            part = rows.Part(0, [str(path) for path in find_batches(self.batches)])
            pieces = list(rows.make_pieces(str(self.batches), RELEASED, 1)([part]))[::-1]
            self.assertGreater(len(pieces), 8)
            pieces.sort(key=lambda piece: tuple(piece[0]))
            listed = list(writer.write_tables(folder, RELEASED, 1)(pieces))
            landed = pq.ParquetFile(str(listed[0].file))
            self.assertGreater(landed.num_row_groups, 3)
            found = landed.read(columns=["sequence", "version"]).to_pylist()
        self.assertEqual([row["sequence"] for row in found], list(range(1, 61)))
        self.assertEqual({row["version"] for row in found}, {"1.1.0"}, "of one id the first stays")

    def test_columns_that_contracts_no_longer_have_are_kept(self) -> None:
        for name in ("a", "b"):
            with tables.Tables(self.tables) as folder:
                file = folder.made(folder.table(IDENTITY)) / (name + ".parquet")
                file.parent.mkdir(parents=True)
                file.touch()
                folder.publish([str(file)], {IDENTITY: {name: "int64"}})
        with tables.Tables(self.tables) as folder, self.assertRaisesRegex(Problem, "column a is int64"):
            folder.check({IDENTITY: {"a": "string"}})

    def test_folders_that_are_not_tables(self) -> None:
        write_batch(self.batches / "a.ndjson.gz", [label(CONTRACTS, IDENTITY, SOUND)])
        self.tables.mkdir()
        (self.tables / "notes.txt").write_text("mine")
        with self.assertRaisesRegex(Problem, "holds something else than tables"):
            self.land()
        self.assertEqual([path.name for path in self.tables.iterdir()], ["notes.txt"])
        (self.tables / "notes.txt").unlink()
        with tables.Tables(self.tables), self.assertRaisesRegex(Problem, "another run lands here"):
            self.land()


def decode(message: str, payloads: list[str]) -> list[dict[str, Any]]:
    """What the C++ library reads from the bytes, which are in base64."""
    stream = b""
    for one in payloads:
        data = base64.b64decode(one)
        size = len(data)
        while size >= 0x80:
            stream += bytes([size & 0x7F | 0x80])
            size >>= 7
        stream += bytes([size]) + data
    done = subprocess.run(
        [tool(), "decode", message, "--delimited"], input=stream, capture_output=True, check=True
    )
    return [json.loads(line) for line in done.stdout.splitlines()]


def compare(test: unittest.TestCase, message: Any, got: Any, wanted: Any, place: str) -> None:
    """Holds a row against the JSON of a message, field by field."""
    test.assertEqual(list(got), [one.name for one in message.fields], place)
    test.assertLessEqual(wanted.keys(), {one.name for one in message.fields})
    for field in message.fields:
        where = f"{place}.{field.name}"
        value = got[field.name]
        if field.name not in wanted:
            absent = [] if field.is_repeated else None if field.has_presence else "zero"
            zero = value in (0, "", False) and value is not None
            test.assertTrue(zero if absent == "zero" else value == absent, f"{where}: {value!r}")
            continue
        theirs = wanted[field.name]
        values = value if field.is_repeated else [value]
        others = theirs if field.is_repeated else [theirs]
        test.assertEqual(len(values), len(others), where)
        for one, other in zip(values, others, strict=True):
            if field.message_type is not None:
                compare(test, field.message_type, one, other, where)
            elif field.type == field.TYPE_FLOAT:
                test.assertEqual(struct.pack("f", one), struct.pack("f", float(other)), where)
            elif field.cpp_type in (field.CPPTYPE_INT64, field.CPPTYPE_UINT64):
                test.assertEqual(int(one), int(other), where)
            else:
                test.assertEqual((type(one), one), (type(other), other), where)


if __name__ == "__main__":
    unittest.main()
