"""What was released never changes: holds contracts against those of the newest release."""

import os
import re

from contracts.facts import Facts, KEYS, facts_of, read_fact
from contracts.conventions import CDM, PERSISTANCE, VERSION
from contracts.finding import Finding

NEVER = "undo it: what was released never changes; what is new gets a new field, message or schema"
LIMITS = [  # the rule, what changed, the option, its place in `persistance`
    ("table-type", "type", lambda option: option.type, (1,)),
    ("table-database", "database", lambda option: option.database.name, (2,)),
    ("database-size", "size limit of the database in MB", lambda option: option.database.max_size_mb, (2,)),
    ("table-name", "table name", lambda option: option.table.name, (3,)),
    ("table-limit", "limit of rows", lambda option: option.table.max_rows, (3, 2)),
    ("table-limit", "limit of days", lambda option: option.table.max_time_days, (3, 3)),
]


def read_version(text):
    """A version as what compares as versions do: a release is above its betas, those above its alphas."""
    if not VERSION.fullmatch(text):
        return None
    numbers, _, suffix = text.partition("-")
    stage, _, count = suffix.partition(".")
    return (*map(int, numbers.split(".")), ("alpha", "beta", "").index(stage), int(count or 0))


def kept_order(old, new):
    """The first of the new names that is out of the old order; names that are new may be anywhere."""
    expected = [name for name in old if name in new]
    found = [name for name in new if name in old]
    return next((b for a, b in zip(expected, found) if a != b), None)


def from_to(before, after):
    return f"from {before or 'nothing'} to {after or 'nothing'}"


class Gate:
    def __init__(self, older, newer, words):
        self.older, self.newer, self.words = older, newer, words
        # A name promises its unit once a release states facts at all.
        self.states_facts = any(
            fact.key in KEYS and fact.key != "Source" and read_fact(fact, Facts(), words)
            for message in older.messages.values() for field in message.fields for fact in field.comment.facts
        )

    def run(self):
        gone = set()  # in whose place one finding speaks for all that was in it
        for old in self.older.files:
            new = self.newer.by_name.get(old.name)
            if new is None:
                moved = [self.newer.messages[m.full_name].file.name for m in old.walk() if m.full_name in self.newer.messages]
                where = f", its messages are in {moved[0]}" if moved else ""
                yield Finding(old.name, 1, "schema-removed", f"the released schema is gone{where}", NEVER)
                gone.add(old.name)
            elif old.package != new.package:
                yield Finding(new.name, new.place((2,))[0] or 1, "package", f"package changed {from_to(old.package, new.package)}", NEVER)
                gone.add(old.name)
            else:
                yield from self.file(old, new)
        for old in self.older.messages.values():
            if old.file.name not in gone:
                yield from self.message(old)
        for old in self.older.enums.values():
            if old.file.name not in gone:
                yield from self.enum(old)
        yield from self.versions()

    def file(self, old, new):
        line = new.place((3, 0))[0] or 1
        for name in old.proto.dependency:
            if name not in new.proto.dependency:
                yield Finding(new.name, line, "imports", f"no longer imports {name}", NEVER)
        if name := kept_order(old.proto.dependency, new.proto.dependency):
            yield Finding(new.name, line, "imports", f"imports are in another order from {name} on", NEVER)
        messages = {message.name: message for message in new.messages}
        if name := kept_order([message.name for message in old.messages], list(messages)):
            yield messages[name].finding("message-order", "the messages of its schema are in another order from it on", NEVER)
        extensions = {extension.full_name: extension for extension in new.extensions}
        for was in old.extensions:
            now = extensions.get(was.full_name)
            if now is None:
                yield Finding(new.name, 1, "extension", f"{was.full_name} is gone", NEVER)
            elif self.declared(was) != self.declared(now):
                yield now.finding("extension", f"changed {from_to(self.declared(was), self.declared(now))}", NEVER)

    @staticmethod
    def declared(extension):
        return f"{extension.proto.extendee} {extension.proto.number} {extension.type}"

    def message(self, old):
        new = self.newer.messages.get(old.full_name)
        if new is None:
            if old.parent is None or old.parent.full_name in self.newer.messages:
                yield Finding(old.file.name, self.near(old), "message-removed", f"{old.full_name}: the released message is gone "
                              "or renamed", NEVER)
            return
        if old.file.name != new.file.name:
            yield new.finding("message-moved", f"was in {old.file.name}", NEVER)
        yield from self.options(old, new)
        yield from self.fields(old, new)

    def near(self, element):
        """A line of what was around an element that is gone."""
        outer = self.newer.messages.get(element.parent.full_name) if element.parent is not None else None
        return outer.line if outer else 1

    def options(self, old, new):
        was, now = old.options.get("persistance"), new.options.get("persistance")
        if old.table is not None and new.table is None:
            yield new.finding("table-removed", "is not a table any more", NEVER)
        elif old.table is not None or new.table is None:  # what was released as a part may become a table
            for rule, what, value, place in LIMITS:
                before, after = (option is not None and value(option) or None for option in (was, now))
                if before != after:
                    yield new.finding(rule, f"{what} changed {from_to(before, after)}", NEVER,
                                      new.line_of_option(PERSISTANCE, *place))
        if old.cdm is None:
            return
        if new.cdm is None:
            yield new.finding("payload-options", f"is not a payload any more; its gun was {old.cdm.gun}", NEVER)
            return
        if old.cdm.gun != new.cdm.gun:
            yield new.finding("payload-gun", f"gun changed {from_to(old.cdm.gun, new.cdm.gun)}", NEVER, new.line_of_option(CDM, 1))
        before, after = read_version(old.cdm.version), read_version(new.cdm.version)
        if before and after and after < before:
            yield new.finding("payload-version", f"version went back {from_to(old.cdm.version, new.cdm.version)}",
                              f"set {old.cdm.version} or a higher version", new.line_of_option(CDM, 2))

    def fields(self, old, new):
        by_number = {field.proto.number: field for field in new.fields}
        old_names = {field.name for field in old.fields}
        for was in old.fields:
            now = new.field(was.name)
            if now is None:
                here = by_number.get(was.proto.number)
                if here is not None and here.name not in old_names:
                    yield here.finding("field-renamed", f"was released as {was.name}", NEVER)
                else:
                    yield Finding(new.file.name, new.line, "field-removed", f"{was.full_name}: the released field "
                                  f"{was.proto.number} is gone", NEVER)
                continue
            yield from self.field(was, now)
        if name := kept_order([field.name for field in old.fields], [field.name for field in new.fields]):
            yield new.field(name).finding("field-order", "the released fields are in another order from it on", NEVER)

    def field(self, was, now):
        compared = [
            ("field-number", "number", was.proto.number, now.proto.number),
            ("field-type", "type", was.type, now.type),
            ("field-label", "label", "repeated" if was.is_repeated else "singular", "repeated" if now.is_repeated else "singular"),
            ("field-presence", "presence", "optional" if was.proto.proto3_optional else "implicit",
             "optional" if now.proto.proto3_optional else "implicit"),
            ("field-oneof", "oneof", was.oneof, now.oneof),
            ("field-json-name", "JSON name", was.proto.json_name, now.proto.json_name),
            ("table-key", "key column of a table", "yes" if was.is_key else "no", "yes" if now.is_key else "no"),
        ]
        for rule, what, before, after in compared:
            # A key in what is not a table is wrong whatever was released.
            if before != after and (rule != "table-key" or was.parent.table is not None):
                yield now.finding(rule, f"{what} changed {from_to(before, after)}", NEVER)
                return
        if was.line and now.line:
            yield from self.facts(was, now)

    def facts(self, was, now):
        before, after = facts_of(was, self.words), facts_of(now, self.words)
        if not self.states_facts and before.unit != after.unit:
            before.unit = ""
        line = now.comment_line
        for rule in ("unit", "format"):
            old, new = getattr(before, rule), getattr(after, rule)
            if old not in ("", "unspecified", new):
                yield now.finding(rule, f"{rule} changed {from_to(old, new)}", NEVER, line)
        another = any(after.meanings.get(value, meaning) != meaning for value, meaning in before.meanings.items())
        if another:
            yield now.finding("values", f"meaning of a value changed {from_to(before.values, after.values)}", NEVER, line)
        elif before.is_closed and (not after.is_closed or sorted(before.listed) != sorted(after.listed)):
            yield now.finding("values", f"closed list of values changed {from_to(before.values, after.values)}", NEVER, line)
        if self.words.rank(after.privacy) < self.words.rank(before.privacy):
            yield now.finding("privacy", f"privacy class lowered {from_to(before.privacy, after.privacy)}", NEVER, line)

    def enum(self, old):
        new = self.newer.enums.get(old.full_name)
        if new is None:
            if old.parent is None or old.parent.full_name in self.newer.messages:
                yield Finding(old.file.name, self.near(old), "enum-removed", f"{old.full_name}: the released enumeration is gone "
                              "or renamed", NEVER)
            return
        by_name = {value.name: value for value in new.values}
        numbers = {value.proto.number: value for value in new.values}
        for was in old.values:
            now = by_name.get(was.name)
            here = numbers.get(was.proto.number)
            if now is not None and now.proto.number != was.proto.number:
                yield now.finding("enum-value", f"number changed {from_to(str(was.proto.number), str(now.proto.number))}", NEVER)
            elif now is None and here is not None:
                yield here.finding("enum-value", f"was released as {was.name}", NEVER)
            elif now is None:
                yield new.finding("enum-value", f"the released value {was.name} is gone", NEVER)

    def content(self, contracts, payload):
        """What a payload can carry: the fields and values of all that is in it."""
        for part in contracts.parts(payload):
            if part.full_name in contracts.types and part.full_name not in contracts.messages:
                continue  # the entry of a map, or a message that is not a contract
            for field in getattr(part, "fields", []):
                yield (part.full_name, field.name)
            for value in getattr(part, "values", []):
                yield (part.full_name, value.name)

    def versions(self):
        for new in self.newer.messages.values():
            old = self.older.messages.get(new.full_name)
            if old is None or old.cdm is None or new.cdm is None:
                continue
            before, after = set(self.content(self.older, old)), list(self.content(self.newer, new))
            # What is gone from a message is reported there; a raised version would not make it right.
            released = {(holder, name) for holder, name in before}
            added = [f"{holder.rpartition('.')[2]}.{name}" for holder, name in after if (holder, name) not in released
                     and not self.is_renamed(holder, name)]
            was, now = read_version(old.cdm.version), read_version(new.cdm.version)
            if not added or was is None or now is None or now[:2] > was[:2]:
                continue
            more = f" and {len(added) - 3} more" if len(added) > 3 else ""
            still = f"is still {new.cdm.version}" if now == was else f"went only {from_to(old.cdm.version, new.cdm.version)}"
            yield new.finding("payload-version", f"{', '.join(added[:3])}{more} came in, the version {still}: readers distinguish contents "
                              "by it", f"set version {was[0]}.{was[1] + 1}.0", new.line_of_option(CDM, 2))

    def is_renamed(self, holder, name):
        """Whether a field is a released one under another name."""
        old, new = self.older.messages.get(holder), self.newer.messages.get(holder)
        if old is None or new is None:
            return False
        number = new.field(name).proto.number
        return any(field.proto.number == number and new.field(field.name) is None for field in old.fields)


def newest(folder):
    """The version numbers of the releases in a folder, the newest; nothing if there is none."""
    names = os.listdir(folder) if os.path.isdir(folder) else []
    releases = [name for name in names if re.fullmatch(r"\d+\.\d+\.\d+", name)]
    return max(releases, key=lambda name: [int(number) for number in name.split(".")], default=None)
