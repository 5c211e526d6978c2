"""Messages as columns: the types, and the values, with nothing lost.

A field without presence is never null: zero is zero. A field with presence is null if it is absent.
Unsigned numbers have a type that holds them: bigint, and decimal(20,0) for 64 bits. A value of an
enumeration is its name, or its number if it has none.
"""

import itertools
import operator
from collections.abc import Callable, Sequence
from typing import Any

import pyarrow as pa
import pyarrow.compute as pc
from google.protobuf import message_factory
from google.protobuf.descriptor import Descriptor, FieldDescriptor

_D = FieldDescriptor

# By type of field: how Arrow builds it, and how it is stored.
_SCALARS: dict[int, tuple[pa.DataType, pa.DataType]] = {}
for _types, _arrow, _stored in (
    ((_D.TYPE_INT32, _D.TYPE_SINT32, _D.TYPE_SFIXED32), pa.int32(), pa.int32()),
    ((_D.TYPE_INT64, _D.TYPE_SINT64, _D.TYPE_SFIXED64), pa.int64(), pa.int64()),
    ((_D.TYPE_UINT32, _D.TYPE_FIXED32), pa.int64(), pa.int64()),
    ((_D.TYPE_UINT64, _D.TYPE_FIXED64), pa.uint64(), pa.decimal128(20, 0)),
    ((_D.TYPE_FLOAT,), pa.float32(), pa.float32()),
    ((_D.TYPE_DOUBLE,), pa.float64(), pa.float64()),
    ((_D.TYPE_BOOL,), pa.bool_(), pa.bool_()),
    ((_D.TYPE_STRING, _D.TYPE_ENUM), pa.string(), pa.string()),
    ((_D.TYPE_BYTES,), pa.binary(), pa.binary()),
):
    for _type in _types:
        _SCALARS[_type] = (_arrow, _stored)


def _is_map(field: FieldDescriptor) -> bool:
    message = field.message_type
    return message is not None and bool(message.GetOptions().map_entry)


def struct_type(message: Descriptor, outer: tuple[str, ...] = ()) -> pa.DataType:
    """The columns of a message. Raises ValueError for one that can have none."""
    name = message.full_name
    if name in outer:
        raise ValueError(f"{name} contains itself: no table can have its columns")
    if not message.fields:
        raise ValueError(f"{name} has no field: no table can have its columns")
    return pa.struct(
        [pa.field(field.name, _type_of(field, (*outer, name))) for field in message.fields]
    )


def _type_of(field: FieldDescriptor, outer: tuple[str, ...] = ()) -> pa.DataType:
    if _is_map(field):
        key, value = field.message_type.fields
        return pa.map_(_type_of(key, outer), _type_of(value, outer))
    one = (
        struct_type(field.message_type, outer)
        if field.message_type is not None
        else _SCALARS[field.type][1]
    )
    return pa.list_(one) if field.is_repeated else one


def paths(kind: pa.DataType, name: str) -> dict[str, str]:
    """All columns of a type, by their paths, with their types."""
    if pa.types.is_struct(kind):
        found = {name: "struct"}
        for part in kind:
            found |= paths(part.type, f"{name}.{part.name}")
        return found
    if pa.types.is_map(kind):
        parts = paths(kind.key_type, f"{name}[key]") | paths(kind.item_type, f"{name}[value]")
        return {name: "map"} | parts
    if pa.types.is_list(kind):
        return {name: "list"} | paths(kind.value_type, f"{name}[]")
    return {name: str(kind)}


Build = Callable[[Sequence[Any]], pa.Array]


def builder(message: type[Any]) -> Build:
    """Makes the column of messages of this class."""
    build = _struct_builder(message)
    return lambda messages: build(messages, None)


def _struct_builder(message: type[Any]) -> Callable[[Sequence[Any], pa.Array | None], pa.Array]:
    """Makes the column of messages, of which those that the mask has are absent."""
    descriptor = message.DESCRIPTOR
    parts = [_field_builder(field) for field in descriptor.fields]
    fields = list(struct_type(descriptor))
    return lambda messages, mask: pa.StructArray.from_arrays(
        [part(messages) for part in parts], fields=fields, mask=mask
    )


def _one(field: FieldDescriptor) -> Build:
    """Makes a column of values, None where there is none."""
    if field.message_type is not None:
        return builder(message_factory.GetMessageClass(field.message_type))
    arrow, stored = _SCALARS[field.type]
    if field.type == _D.TYPE_ENUM:
        names = {value.number: value.name for value in field.enum_type.values}
        return lambda values: pa.array(
            [None if value is None else names.get(value, str(value)) for value in values], arrow
        )
    if stored != arrow:
        return lambda values: pa.array(values, arrow).cast(stored)
    return lambda values: pa.array(values, arrow)


def _field_builder(field: FieldDescriptor) -> Build:
    get = operator.attrgetter(field.name)
    if _is_map(field):
        return _map_builder(field)
    if field.is_repeated:
        return _list_builder(field)
    if field.message_type is not None:
        return _part_builder(field)
    one = _one(field)
    if not field.has_presence:
        return lambda messages: one(list(map(get, messages)))
    has = operator.methodcaller("HasField", field.name)

    def build(messages: Sequence[Any]) -> pa.Array:
        values = list(map(get, messages))
        if not all(values):  # one that is absent reads as zero
            values = [
                value if value or has(message) else None
                for value, message in zip(values, messages, strict=True)
            ]
        return one(values)

    return build


def _part_builder(field: FieldDescriptor) -> Build:
    get = operator.attrgetter(field.name)
    has = operator.methodcaller("HasField", field.name)
    message = message_factory.GetMessageClass(field.message_type)
    whole = struct_type(field.message_type)
    build_struct = _struct_builder(message)
    empty = message()

    def build(messages: Sequence[Any]) -> pa.Array:
        present = list(map(has, messages))
        if not any(present):
            return pa.nulls(len(messages), whole)
        if all(present):
            return build_struct(list(map(get, messages)), None)
        parts = [
            get(message) if is_present else empty
            for message, is_present in zip(messages, present, strict=True)
        ]
        return build_struct(parts, pc.invert(pa.array(present)))

    return build


def _list_builder(field: FieldDescriptor) -> Build:
    get = operator.attrgetter(field.name)
    one = _one(field)

    def build(messages: Sequence[Any]) -> pa.Array:
        lists = list(map(get, messages))
        offsets = list(itertools.accumulate(map(len, lists), initial=0))
        values = list(itertools.chain.from_iterable(lists))
        return pa.ListArray.from_arrays(pa.array(offsets, pa.int32()), one(values))

    return build


def _map_builder(field: FieldDescriptor) -> Build:
    get = operator.attrgetter(field.name)
    key, value = (_one(part) for part in field.message_type.fields)

    def build(messages: Sequence[Any]) -> pa.Array:
        maps = list(map(get, messages))
        offsets = list(itertools.accumulate(map(len, maps), initial=0))
        items = [item for one in maps for item in one.items()]
        return pa.MapArray.from_arrays(
            pa.array(offsets, pa.int32()),
            key([item[0] for item in items]),
            value([item[1] for item in items]),
        )

    return build
