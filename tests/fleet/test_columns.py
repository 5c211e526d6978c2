"""Every kind of field is a column that has each of its values, and knows absent from zero."""

import math
import unittest
from decimal import Decimal

import pyarrow as pa
from google.protobuf import descriptor_pb2, descriptor_pool, message_factory

from fleet.columns import builder, paths, struct_type

KINDS = (
    "double float int64 uint64 int32 fixed64 fixed32 bool string bytes uint32 sfixed32 sfixed64 "
    "sint32 sint64"
).split()


def schema(messages: str) -> descriptor_pool.DescriptorPool:
    """A pool of messages: `Name: label type name, ...` a line."""
    file = descriptor_pb2.FileDescriptorProto(name="t.proto", package="t", syntax="proto3")
    colour = file.enum_type.add(name="Colour")
    colour.value.add(name="NONE", number=0)
    colour.value.add(name="RED", number=1)
    for line in messages.strip().splitlines():
        name, _, fields = line.strip().partition(":")
        message = file.message_type.add(name=name)
        for number, text in enumerate(filter(None, fields.split(",")), 1):
            how, kind, field_name = text.split()
            field = message.field.add(name=field_name, number=number)
            field.label = field.LABEL_REPEATED if how in ("repeated", "map") else field.LABEL_OPTIONAL
            if how == "map":
                entry = message.nested_type.add(name=field_name.capitalize() + "Entry")
                entry.options.map_entry = True
                for i, part in enumerate(("key", "value"), 1):
                    made = entry.field.add(name=part, number=i, label=1)
                    made.type = made.TYPE_STRING if part == "key" else getattr(made, "TYPE_" + kind.upper())
                field.type, field.type_name = field.TYPE_MESSAGE, f".t.{name}.{entry.name}"
            elif kind.upper() in descriptor_pb2.FieldDescriptorProto.Type.DESCRIPTOR.values_by_name or kind in KINDS:
                field.type = getattr(field, "TYPE_" + kind.upper())
            elif kind == "Colour":
                field.type, field.type_name = field.TYPE_ENUM, ".t.Colour"
            else:
                field.type, field.type_name = field.TYPE_MESSAGE, ".t." + kind
            if how == "optional":
                field.proto3_optional = True
                field.oneof_index = len(message.oneof_decl)
                message.oneof_decl.add(name="_" + field_name)
    pool = descriptor_pool.DescriptorPool()
    pool.Add(file)
    return pool


LARGEST = {
    "double": 1.7976931348623157e308, "float": 0.5, "int64": -(2**63), "uint64": 2**64 - 1,
    "int32": -(2**31), "fixed64": 2**64 - 1, "fixed32": 2**32 - 1, "bool": True,
    "string": "\u00e9\U0001f600\0", "bytes": b"\xff\0", "uint32": 2**32 - 1, "sfixed32": -(2**31),
    "sfixed64": -(2**63), "sint32": -(2**31), "sint64": -(2**63),
}  # fmt: skip
ZERO = {"double": 0.0, "float": 0.0, "bool": False, "string": "", "bytes": b""}


class Columns(unittest.TestCase):
    def test_every_kind_of_field(self) -> None:
        for how in ("plain", "optional", "repeated"):
            for kind in KINDS:
                with self.subTest(f"{how} {kind}"):
                    pool = schema(f"M: {how} {kind} f")
                    cls = message_factory.GetMessageClass(pool.FindMessageTypeByName("t.M"))
                    zero = ZERO.get(kind, 0)
                    absent, at_zero, full = cls(), cls(), cls()
                    if how == "repeated":
                        at_zero.f.append(zero)
                        full.f.extend([LARGEST[kind], zero, LARGEST[kind]])
                        wanted = [[], [zero], [LARGEST[kind], zero, LARGEST[kind]]]
                    else:
                        at_zero.f, full.f = zero, LARGEST[kind]
                        wanted = [None if how == "optional" else zero, zero, LARGEST[kind]]
                    got = [row["f"] for row in build(cls, [absent, at_zero, full])]
                    self.assertEqual(got, wanted)

    def test_unsigned_64_bits_are_decimal(self) -> None:
        pool = schema("M: plain uint64 f,optional fixed64 g,plain uint32 h")
        kind = struct_type(pool.FindMessageTypeByName("t.M"))
        self.assertEqual([str(part.type) for part in kind], ["decimal128(20, 0)"] * 2 + ["int64"])

    def test_floats_are_themselves(self) -> None:
        cls = message_factory.GetMessageClass(
            schema("M: plain float f").FindMessageTypeByName("t.M")
        )
        values = [math.nan, math.inf, -math.inf, -0.0, 0.1, 1e-45]
        got = [row["f"] for row in build(cls, [cls(f=value) for value in values])]
        for value, one in zip([cls(f=value).f for value in values], got, strict=True):
            self.assertTrue(math.isnan(one) if math.isnan(value) else one == value)
            self.assertEqual(math.copysign(1, one), math.copysign(1, value))

    def test_parts_enumerations_and_maps(self) -> None:
        pool = schema(
            """In: plain int32 a,optional string b
            M: plain In one,repeated In many,plain Colour colour,optional Colour other,map int32 counts"""
        )
        cls = message_factory.GetMessageClass(pool.FindMessageTypeByName("t.M"))
        full = cls(colour=1, other=7, counts={"x": 0, "y": -1})
        full.one.a = 3
        full.many.add(b="")
        full.many.add()
        present = cls()
        present.one.SetInParent()
        present.other = 0
        got = build(cls, [full, cls(), present])
        got[0]["counts"] = sorted(got[0]["counts"])
        self.assertEqual(
            got,
            [
                {
                    "one": {"a": 3, "b": None},
                    "many": [{"a": 0, "b": ""}, {"a": 0, "b": None}],
                    "colour": "RED", "other": "7", "counts": [("x", 0), ("y", -1)],
                },
                {"one": None, "many": [], "colour": "NONE", "other": None, "counts": []},
                {"one": {"a": 0, "b": None}, "many": [], "colour": "NONE", "other": "NONE", "counts": []},
            ],
        )  # fmt: skip

    def test_what_no_table_can_have(self) -> None:
        pool = schema("M: plain N n\nN: repeated M m\nE:")
        for name, why in (("M", "contains itself"), ("E", "has no field")):
            with self.assertRaisesRegex(ValueError, why):
                struct_type(pool.FindMessageTypeByName("t." + name))

    def test_paths(self) -> None:
        pool = schema("In: plain int32 a\nM: repeated In many,plain In one,map uint64 counts")
        self.assertEqual(
            paths(struct_type(pool.FindMessageTypeByName("t.M")), "p"),
            {"p": "struct", "p.many": "list", "p.many[]": "struct", "p.many[].a": "int32", "p.one": "struct",
             "p.one.a": "int32", "p.counts": "map", "p.counts[key]": "string", "p.counts[value]": "decimal128(20, 0)"},
        )  # fmt: skip


def build(cls: type, messages: list[object]) -> list[object]:
    """The rows of the column, with plain numbers."""
    column = builder(cls)(messages)
    column.validate(full=True)
    assert column.type == struct_type(cls.DESCRIPTOR)

    def plain(value: object) -> object:
        if isinstance(value, Decimal):
            return int(value)
        if isinstance(value, dict):
            return {key: plain(one) for key, one in value.items()}
        if isinstance(value, list):
            return [plain(one) for one in value]
        return value

    return [plain(value) for value in column.to_pylist()]


assert pa  # the columns are Arrow's

if __name__ == "__main__":
    unittest.main()
