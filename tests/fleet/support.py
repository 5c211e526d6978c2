"""What the tests of the fleet share: contracts, and batches with anything in them."""

import base64
import gzip
import hashlib
import json
import os
import uuid
from collections.abc import Iterable
from pathlib import Path
from typing import Any

from google.protobuf import descriptor_pb2, message_factory

from fleet.contracts import OPTION, Contracts

ROOT = Path(__file__).resolve().parents[2]
RELEASED = (ROOT / "compat/1.0.0/contracts.binpb").read_bytes()
DEVICE = "5c91a2bf-2873-8c8c-9f56-07345e9936b3"
CATEGORY = "com.ovix.cdm.domain.telemetry.type.eventDetail.category."
IDENTITY = CATEGORY + "pcIdentity.version.1"


def label(contracts: Contracts, gun: str, data: bytes, /, **changes: Any) -> dict[str, Any]:
    """A line of a batch as a receiver would have it, but for the changes; None leaves a key out."""
    payload = contracts.payloads[gun]
    sequence = changes.get("sequence", 1)
    made = {
        "gun": gun,
        "version": payload.version,
        "message": payload.descriptor.full_name,
        "payload": "name.binpb",
        "bytes": len(data),
        "sha256": hashlib.sha256(data).hexdigest(),
        "device": DEVICE,
        "created": "2026-11-21T10:20:30.456Z",
        "sequence": sequence,
        "id": str(uuid.uuid5(uuid.NAMESPACE_OID, f"{sequence} {data.hex()}")),
        "data": base64.b64encode(data).decode(),
        **changes,
    }
    return {key: value for key, value in made.items() if value is not None}


def write_batch(path: Path, lines: Iterable[dict[str, Any] | bytes]) -> None:
    """A batch file of these lines."""
    path.parent.mkdir(parents=True, exist_ok=True)
    with gzip.open(path, "wb") as file:
        for line in lines:
            file.write(line if isinstance(line, bytes) else json.dumps(line).encode())
            file.write(b"\n")


def changed(descriptor_set: bytes, change: Any) -> bytes:
    """Another release of the contracts. `change` gets a function that finds a message by name."""
    files = descriptor_pb2.FileDescriptorSet.FromString(descriptor_set)
    messages = {
        f"{file.package}.{message.name}": message for file in files.file for message in file.message_type
    }

    def find(name: str) -> Any:
        return next(message for full, message in messages.items() if full.endswith("." + name))

    change(find)
    return files.SerializeToString()


def set_version(descriptor_set: bytes, message: Any, version: str) -> None:
    """Changes the option of a message of a set that is being changed."""
    contracts = Contracts(descriptor_set)
    pool = contracts._pool
    options = message_factory.GetMessageClass(
        pool.FindMessageTypeByName("google.protobuf.MessageOptions")
    ).FromString(message.options.SerializeToString())
    options.Extensions[pool.FindExtensionByName(OPTION)].version = version
    message.options.ParseFromString(options.SerializeToString())


def add_field(message: Any, name: str, number: int, kind: str) -> None:
    """Adds a field with presence."""
    field = message.field.add(name=name, number=number, json_name=name)
    field.type = getattr(descriptor_pb2.FieldDescriptorProto, "TYPE_" + kind.upper())
    field.label = field.LABEL_OPTIONAL
    field.proto3_optional = True
    field.oneof_index = len(message.oneof_decl)
    message.oneof_decl.add(name="_" + name)


def tool() -> str:
    """The path of ovix-contracts."""
    return os.environ["OVIX_CONTRACTS"]
