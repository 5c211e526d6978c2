"""Whether a line of a batch is a payload that can be landed, and if not, why."""

import binascii
import datetime
import enum
import hashlib
import re
from dataclasses import dataclass
from typing import Any

import orjson
from google.protobuf.message import DecodeError, Message
from google.protobuf.unknown_fields import UnknownFieldSet

from fleet.batches import Line
from fleet.contracts import VERSION, Contracts, Payload, version_key

LARGEST_SEQUENCE = 999_999_999_999_999
_UUID = r"[0-9a-f]{8}(?:-[0-9a-f]{4}){3}-[0-9a-f]{12}"
# The keys that have a form, and all of them at once, which is faster.
_FORMS = {
    "device": re.compile(_UUID),
    "created": re.compile(r"[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9]{2}:[0-9]{2}:[0-9]{2}\.[0-9]{3}Z"),
    "id": re.compile(_UUID),
    "sha256": re.compile(r"[0-9a-f]{64}"),
    "version": VERSION,
}
_ALL_FORMS = re.compile("\n".join(form.pattern for form in _FORMS.values()), re.ASCII)


class Reason(enum.StrEnum):
    """Why a line is rejected: a closed list."""

    LABEL = "label"
    HASH = "hash"
    UNKNOWN_GUN = "unknown gun"
    NEWER_VERSION = "version newer than the contracts"
    NOT_UTF8 = "not UTF-8"
    MALFORMED = "malformed"


@dataclass(slots=True)
class Verdict:
    """A line: what is known of it, and the reason if it is rejected."""

    reason: Reason | None = None
    detail: str = ""
    gun: str | None = None
    version: str | None = None
    device: str | None = None
    created: datetime.datetime | None = None
    date: str = ""  # of `created`
    sequence: int | None = None
    id: str | None = None
    data: bytes = b""  # the payload, or the line if it has none that can be read
    message: Message | None = None  # the payload, if it can be landed, without unknown fields
    has_unknown: bool = False  # fields that the contracts do not have


class _Rejected(Exception):
    def __init__(self, reason: Reason, detail: str) -> None:
        super().__init__(detail)
        self.reason = reason


def judge(line: Line, contracts: Contracts) -> Verdict:
    """Never raises: whatever a line holds is a verdict."""
    verdict = Verdict(data=line.text)
    try:
        if line.fault:
            raise _Rejected(Reason.MALFORMED, line.fault)
        label = _parse(line.text)
        _take_label(label, verdict)
        payload = _check(label, contracts, verdict)
        _parse_payload(payload, contracts, verdict)
    except _Rejected as rejected:
        verdict.reason = rejected.reason
        verdict.detail = str(rejected)
    return verdict


def _parse(text: bytes) -> dict[str, Any]:
    try:
        label = orjson.loads(text)
    except ValueError as error:
        try:
            text.decode("utf-8")
        except UnicodeDecodeError as not_utf8:
            detail = f"the line is not UTF-8 at byte {not_utf8.start}"
            raise _Rejected(Reason.NOT_UTF8, detail) from error
        raise _Rejected(Reason.LABEL, f"the line is not JSON ({error})") from error
    if not isinstance(label, dict):
        raise _Rejected(Reason.LABEL, "the line is not a JSON object")
    return label


def _text(label: dict[str, Any], key: str) -> str:
    value = label.get(key)
    if not isinstance(value, str) or not value or "\0" in value:
        raise _Rejected(Reason.LABEL, f"the metadata has no string {key}")
    form = _FORMS.get(key)
    if form is not None and form.fullmatch(value) is None:
        raise _Rejected(Reason.LABEL, f"{key} of the metadata has another form: {value[:80]!r}")
    return value


def _number(label: dict[str, Any], key: str, least: int) -> int:
    value = label.get(key)
    if type(value) is not int or not least <= value <= LARGEST_SEQUENCE:
        raise _Rejected(Reason.LABEL, f"the metadata has no number {key}")
    return value


def _take_label(label: dict[str, Any], verdict: Verdict) -> None:
    data = label.get("data")
    if not isinstance(data, str):
        raise _Rejected(Reason.LABEL, "the metadata has no string data")
    try:
        verdict.data = binascii.a2b_base64(data, strict_mode=True)
    except ValueError as error:
        raise _Rejected(Reason.LABEL, f"data is not base64 ({error})") from error
    try:
        is_sound = _ALL_FORMS.fullmatch("\n".join([label[key] for key in _FORMS])) is not None
    except (KeyError, TypeError):
        is_sound = False
    verdict.gun = _text(label, "gun")
    if not is_sound:  # key by key: what is known of the metadata is kept
        verdict.version = _text(label, "version")
        verdict.device = _text(label, "device")
        _text(label, "created")
        verdict.id = _text(label, "id")
        _text(label, "sha256")
    verdict.version = label["version"]
    verdict.device = label["device"]
    verdict.id = label["id"]
    created: str = label["created"]
    verdict.sequence = _number(label, "sequence", 1)
    try:
        verdict.created = datetime.datetime.fromisoformat(created)
        verdict.date = created[:10]
    except ValueError as error:
        detail = f"created of the metadata is not a time: {created}"
        raise _Rejected(Reason.LABEL, detail) from error


def _check(label: dict[str, Any], contracts: Contracts, verdict: Verdict) -> Payload:
    size = _number(label, "bytes", 0)
    message = _text(label, "message")
    if size != len(verdict.data):
        raise _Rejected(Reason.HASH, f"has {len(verdict.data)} bytes, the metadata states {size}")
    if hashlib.sha256(verdict.data).hexdigest() != label["sha256"]:
        raise _Rejected(Reason.HASH, "has another hash than the metadata states")
    payload = contracts.payloads.get(verdict.gun or "")
    if payload is None:
        raise _Rejected(Reason.UNKNOWN_GUN, f"no message of the contracts has {verdict.gun}")
    version = verdict.version or ""
    if version != payload.version and version_key(version) > version_key(payload.version):
        raise _Rejected(Reason.NEWER_VERSION, f"is {version}, the contracts have {payload.version}")
    if message != payload.name:
        raise _Rejected(Reason.LABEL, f"message is {message[:200]}, the gun is of another")
    return payload


def _parse_payload(payload: Payload, contracts: Contracts, verdict: Verdict) -> None:
    try:
        message: Message = payload.message.FromString(verdict.data)
    except DecodeError as error:
        if contracts.parses_without_text(payload, verdict.data):
            raise _Rejected(Reason.NOT_UTF8, "a string of the payload is not UTF-8") from error
        raise _Rejected(Reason.MALFORMED, "the payload does not parse") from error
    message.DiscardUnknownFields()
    # The bytes that most senders write: nothing of them was discarded.
    if message.SerializeToString() != verdict.data:
        whole = payload.message.FromString(verdict.data)
        if whole.ByteSize() != message.ByteSize():
            if other := _other_type(whole, payload.descriptor.name):
                raise _Rejected(
                    Reason.MALFORMED, f"{other} has another type than in the contracts"
                )
            verdict.has_unknown = True
    verdict.message = message


def _other_type(message: Message, path: str) -> str | None:
    """The first field that is unknown only because its bytes are of another type."""
    for field in UnknownFieldSet(message):
        known = message.DESCRIPTOR.fields_by_number.get(field.field_number)
        if known is not None:
            return f"{path}.{known.name}"
    for descriptor, value in message.ListFields():
        if descriptor.message_type is None or descriptor.message_type.GetOptions().map_entry:
            continue
        place = f"{path}.{descriptor.name}"
        for part in [value] if isinstance(value, Message) else value:
            if other := _other_type(part, place):
                return other
    return None
