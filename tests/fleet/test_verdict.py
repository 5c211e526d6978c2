"""Each line of a batch lands, or is rejected with its reason."""

import json
import unittest
from pathlib import Path
from typing import Any

import jsonschema

from fleet.batches import Line
from fleet.contracts import Contracts, version_key
from fleet.verdict import Reason, judge
from support import CATEGORY, IDENTITY, RELEASED, ROOT, label

CONTRACTS = Contracts(RELEASED)
# device_ref_info, a part, is field 11: external_id, a number, is its field 1.
SOUND = b"\x0a\x051.1.0\x12\x03abc\x5a\x02\x08\x07"
SCHEMA = jsonschema.Draft202012Validator(
    json.loads((ROOT / "examples/fleet/batch.schema.json").read_text())
)


def verdict_of(line: Any) -> Any:
    text = line if isinstance(line, bytes) else json.dumps(line).encode()
    return judge(Line(1, text), CONTRACTS)


class Verdicts(unittest.TestCase):
    def test_sound_lines_land(self) -> None:
        for name, line in {
            "as the agent packs it": label(CONTRACTS, IDENTITY, SOUND),
            "an empty payload": label(CONTRACTS, IDENTITY, b""),
            "an older version": label(CONTRACTS, IDENTITY, SOUND, version="1.0.0"),
            "a pre-release of the version": label(CONTRACTS, IDENTITY, SOUND, version="1.1.0-rc.1"),
            "keys of a newer agent": label(CONTRACTS, IDENTITY, SOUND, other={"key": [1]}),
            "no name of a file": label(CONTRACTS, IDENTITY, SOUND, payload=None),
            "the largest number": label(CONTRACTS, IDENTITY, SOUND, sequence=999_999_999_999_999),
        }.items():
            with self.subTest(name):
                verdict = verdict_of(line)
                self.assertIsNone(verdict.reason, verdict.detail)
                self.assertFalse(verdict.has_unknown)
                SCHEMA.validate(line)

    def test_reasons(self) -> None:
        hash_of_other = label(CONTRACTS, IDENTITY, b"")["sha256"]
        # What the schema of a line can see, it must refuse too.
        for name, reason, seen, changes in (
            ("no data", Reason.LABEL, True, {"data": None}),
            ("data of another type", Reason.LABEL, True, {"data": 7}),
            ("not base64", Reason.LABEL, False, {"data": "a b="}),
            ("base64 with a line end in it", Reason.LABEL, False, {"data": "CgUxLjEu\nMBIDYWJjWgIIBw=="}),
            ("base64 without padding", Reason.LABEL, False, {"data": "YQ"}),
            ("no gun", Reason.LABEL, True, {"gun": None}),
            ("an empty gun", Reason.LABEL, True, {"gun": ""}),
            ("a path for a gun", Reason.UNKNOWN_GUN, False, {"gun": "../../x"}),
            ("no device", Reason.LABEL, True, {"device": None}),
            ("a device in capitals", Reason.LABEL, True, {"device": "5C91A2BF-2873-8c8c-9f56-07345e9936b3"}),
            ("an id with a line end", Reason.LABEL, False, {"id": "5c91a2bf-2873-8c8c-9f56-07345e9936b3\n"}),
            ("no id", Reason.LABEL, True, {"id": None}),
            ("no time", Reason.LABEL, True, {"created": None}),
            ("a time without milliseconds", Reason.LABEL, True, {"created": "2026-11-21T10:20:30Z"}),
            ("a month too many", Reason.LABEL, False, {"created": "2026-13-21T10:20:30.000Z"}),
            ("the year 0", Reason.LABEL, False, {"created": "0000-01-01T00:00:00.000Z"}),
            ("digits of another script", Reason.LABEL, True, {"created": "\u0662026-11-21T10:20:30.000Z"}),
            ("no number", Reason.LABEL, True, {"sequence": None}),
            ("the number 0", Reason.LABEL, True, {"sequence": 0}),
            ("true for a number", Reason.LABEL, True, {"sequence": True}),
            ("too large a number", Reason.LABEL, True, {"sequence": 10**15}),
            ("a version of another form", Reason.LABEL, True, {"version": "1.1"}),
            ("the message of another gun", Reason.LABEL, False, {"message": "x.Other"}),
            ("no hash", Reason.LABEL, True, {"sha256": None}),
            ("another hash", Reason.HASH, False, {"sha256": hash_of_other}),
            ("another size", Reason.HASH, False, {"bytes": 3}),
            ("unknown gun", Reason.UNKNOWN_GUN, False, {"gun": CATEGORY + "pcNew.version.1"}),
            ("a gun of a newer major", Reason.UNKNOWN_GUN, False, {"gun": CATEGORY + "pcIdentity.version.2"}),
            ("newer", Reason.NEWER_VERSION, False, {"version": "1.10.0"}),
            ("newer by thousands of digits", Reason.NEWER_VERSION, False, {"version": "9" * 5000 + ".0.0"}),
        ):
            with self.subTest(name):
                line = label(CONTRACTS, IDENTITY, SOUND, **changes)
                verdict = verdict_of(line)
                self.assertEqual(verdict.reason, reason, verdict.detail)
                self.assertNotEqual(verdict.detail, "")
                self.assertNotIn("\n", verdict.detail)
                if changes.get("data", "") == "":
                    self.assertEqual(verdict.data, SOUND, "the bytes are kept")
                else:
                    self.assertEqual(verdict.data, json.dumps(line).encode(), "the line is kept")
                if seen:
                    self.assertFalse(SCHEMA.is_valid(line))

    def test_lines_without_metadata(self) -> None:
        deep = b'{"a":' * 100_000
        for text, reason in (
            (b"", Reason.LABEL),
            (b"not JSON", Reason.LABEL),
            (b"[]", Reason.LABEL),
            (b"{}", Reason.LABEL),
            (b'{"gun": "\xff"}', Reason.NOT_UTF8),
            (deep, Reason.LABEL),
            (b'{"sequence": ' + b"9" * 5000 + b"}", Reason.LABEL),
            (b'{"gun": "\\ud800"}', Reason.LABEL),  # half of a character
        ):
            with self.subTest(text[:20]):
                verdict = verdict_of(text)
                self.assertEqual(verdict.reason, reason)
                self.assertEqual(verdict.data, text, "nothing of it is lost")

    def test_payloads(self) -> None:
        for name, data, reason, has_unknown in (
            ("cut off", SOUND[:-1], Reason.MALFORMED, False),
            ("a group that does not end", b"\x0b", Reason.MALFORMED, False),
            ("not UTF-8", b"\x12\x02\xc3\x28", Reason.NOT_UTF8, False),
            ("not UTF-8 in a part", b"\x5a\x03\x12\x01\xff", Reason.NOT_UTF8, False),
            ("not UTF-8 and cut off", b"\x12\x02\xc3\x28\x12", Reason.MALFORMED, False),
            ("a number for a string", b"\x10\x07", Reason.MALFORMED, False),
            ("a string for a number, in a sub-message", b"\x5a\x03\x0a\x01x", Reason.MALFORMED, False),
            ("an unknown field", SOUND + b"\x98\x3f\x01", None, True),
            ("an unknown field in a sub-message", b"\x5a\x04\x08\x01\x78\x01", None, True),
            ("fields in another order, twice", b"\x12\x01a\x0a\x011\x12\x01b", None, False),
            ("a zero that need not be written", b"\x0a\x00", None, False),
        ):
            with self.subTest(name):
                verdict = verdict_of(label(CONTRACTS, IDENTITY, data))
                self.assertEqual(verdict.reason, reason, verdict.detail)
                self.assertEqual(verdict.has_unknown, has_unknown)
                self.assertEqual(verdict.data, data)
        verdict = verdict_of(label(CONTRACTS, IDENTITY, b"\x5a\x03\x0a\x01x"))
        self.assertIn("IdentityAsCDM.device_ref_info.external_id", verdict.detail)

    def test_versions_are_ordered(self) -> None:
        # The published order of semantic versions, and numbers that do not compare as strings.
        order = (
            "1.0.0-alpha 1.0.0-alpha.1 1.0.0-alpha.beta 1.0.0-beta 1.0.0-beta.2 1.0.0-beta.11 "
            "1.0.0-rc.1 1.0.0 1.0.9 1.0.10 1.9.0 1.10.0 2.0.0-0 2.0.0-9 2.0.0-010 2.0.0"
        ).split()
        order.insert(-1, "2.0.0-1" + "0" * 5000)  # more digits than int() takes
        self.assertEqual(sorted(reversed(order), key=version_key), order)
        self.assertEqual(version_key("1.0.0+1"), version_key("1.0.0+2"))
        with self.assertRaises(ValueError):
            version_key("1.0.0\n")

    def test_the_set_says_it_all(self) -> None:
        self.assertEqual(len(CONTRACTS.payloads), 48)
        for path in Path(ROOT / "examples/fleet/fleet").glob("*.py"):
            self.assertNotIn("AsCDM", path.read_text(), "no list of contracts")


if __name__ == "__main__":
    unittest.main()
