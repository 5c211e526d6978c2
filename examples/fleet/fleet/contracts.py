"""The contracts, known only from their descriptor set: which message has which gun and version."""

import functools
import re
from dataclasses import dataclass
from pathlib import Path
from typing import Any

from google.protobuf import descriptor_pb2, descriptor_pool, message_factory
from google.protobuf.descriptor import Descriptor
from google.protobuf.message import DecodeError

from fleet.problem import Problem

OPTION = "ovix.telemetry.contract.upload.cdm"
VERSION = re.compile(
    r"(0|[1-9]\d*)\.(0|[1-9]\d*)\.(0|[1-9]\d*)(?:-([0-9A-Za-z.-]+))?(?:\+[0-9A-Za-z.-]+)?", re.ASCII
)


def version_key(version: str) -> tuple[Any, ...]:
    """Orders semantic versions. Raises ValueError for any other text."""
    parts = VERSION.fullmatch(version)
    if parts is None:
        raise ValueError(version)
    numbers = tuple(_number_key(part) for part in parts.groups()[:3])
    if parts[4] is None:
        return (*numbers, 1)
    # A number is before a word; of two equal beginnings the shorter is first.
    words = tuple(
        (0, *_number_key(word)) if word.isdecimal() else (1, 0, word)
        for word in parts[4].split(".")
    )
    return (*numbers, 0, words)


def _number_key(digits: str) -> tuple[int, str]:
    """Orders numbers of any length; int() refuses thousands of digits."""
    digits = digits.lstrip("0")
    return len(digits), digits


@dataclass(frozen=True)
class Payload:
    """A message that has a gun."""

    gun: str
    version: str
    message: type[Any]

    @functools.cached_property
    def name(self) -> str:
        """The full name of the message."""
        return str(self.message.DESCRIPTOR.full_name)

    @property
    def descriptor(self) -> Descriptor:
        descriptor: Descriptor = self.message.DESCRIPTOR
        return descriptor


class Contracts:
    """What a descriptor set says of payloads."""

    def __init__(self, descriptor_set: bytes) -> None:
        self._files = descriptor_pb2.FileDescriptorSet.FromString(descriptor_set).file
        self._pool = _pool_of(self._files)
        option = self._pool.FindExtensionByName(OPTION)
        # The class of options that the pool has knows the extension; the runtime's own does not.
        options = message_factory.GetMessageClass(
            self._pool.FindMessageTypeByName("google.protobuf.MessageOptions")
        )
        self.payloads: dict[str, Payload] = {}
        for file in self._files:
            for proto in file.message_type:
                cdm = options.FromString(proto.options.SerializeToString()).Extensions[option]
                if not cdm.gun:
                    continue
                if cdm.gun in self.payloads:
                    raise ValueError(f"two messages have the gun {cdm.gun}")
                name = f"{file.package}.{proto.name}"
                message = message_factory.GetMessageClass(self._pool.FindMessageTypeByName(name))
                self.payloads[cdm.gun] = Payload(cdm.gun, cdm.version, message)
        if not self.payloads:
            raise ValueError("no message has the option cdm")

    @functools.cached_property
    def _without_text(self) -> descriptor_pool.DescriptorPool:
        """The same messages, with bytes for text: they accept what is not UTF-8."""
        files = descriptor_pb2.FileDescriptorSet(file=self._files)
        for file in files.file:
            pending = list(file.message_type)
            while pending:
                message = pending.pop()
                pending.extend(message.nested_type)
                for field in message.field:
                    if field.type == field.TYPE_STRING and not message.options.map_entry:
                        field.type = field.TYPE_BYTES
        return _pool_of(files.file)

    def parses_without_text(self, payload: Payload, data: bytes) -> bool:
        """Whether the bytes are a message of this kind but for text that is not UTF-8."""
        name = payload.descriptor.full_name
        found = self._without_text.FindMessageTypeByName(name)
        try:
            message_factory.GetMessageClass(found).FromString(data)
        except DecodeError:
            return False
        return True


def _pool_of(files: Any) -> descriptor_pool.DescriptorPool:
    pool = descriptor_pool.DescriptorPool()
    for file in files:
        pool.Add(file)
    return pool


def read_descriptor_set(path: Path) -> bytes:
    """The bytes of a descriptor set, checked. Raises Problem."""
    try:
        descriptor_set = path.read_bytes()
        Contracts(descriptor_set)
    except OSError as error:
        raise Problem(f"{path}: cannot be read ({error.strerror}); name contracts.binpb") from error
    except (DecodeError, KeyError, TypeError, ValueError) as error:
        raise Problem(
            f"{path}: is not a descriptor set of the contracts ({error}); name contracts.binpb"
        ) from error
    return descriptor_set


@functools.lru_cache(maxsize=4)
def contracts_of(descriptor_set: bytes) -> Contracts:
    """One object for a process, which many tasks share."""
    return Contracts(descriptor_set)
