"""Where payloads come from: the lines Source of upload schemas, and what is wrong with them."""

import re

from contracts.facts import INTEGERS, facts_of


def type_words(field):
    """The type as a line Source says it: "uint32", "repeated string", "StateEventType"."""
    return ("repeated " if field.is_repeated else "") + field.type.rpartition(".")[2]


def change_words(origin, field):
    """What a line Source says of how a field differs from the one that it comes from."""
    words = ["renamed"] if field.name != origin.name else []
    if not field.same_type(origin):
        is_smaller = INTEGERS.get(field.type, 64) < INTEGERS.get(origin.type, 0) or (origin.type, field.type) == ("double", "float")
        change = "narrowed" if is_smaller and field.is_repeated == origin.is_repeated else "retyped"
        words.append(f"{change} from {type_words(origin)} to {type_words(field)}")
    return " and ".join(words) or "copied"


def is_same_data(words):
    """Whether a field only has the same data, perhaps in another unit, which the words name."""
    return words == "same data." or words.startswith("same data, in ") and words.endswith(".")


class Lineage:
    def __init__(self, contracts, words):
        self.contracts, self.words = contracts, words
        self.kept = {part.full_name for message in contracts.messages.values() if message.table is not None
                     for part in contracts.parts(message)}

    def records(self, message):
        return [self.contracts.messages[name] for name, _ in message.comment.sources if name in self.contracts.messages]

    def source_field(self, records, name):
        """The field that a name means: "field", "Record.field" or a "part.field" of a record."""
        for record in records:
            holder, field = record, None
            for step in name.removeprefix(record.name + ".").split("."):
                field = holder.field(step) if holder else None
                holder = self.contracts.types.get(field.type_name) if field else None
            if field is not None:
                return field
        return None

    def origins(self, field):
        if field.parent is None or not field.file.is_upload:
            return []
        records, sources = self.records(field.parent), field.comment.sources
        found = [self.source_field(records, name) for name, _ in sources if name != "none"]
        if not sources:
            same = self.source_field(records, field.name)
            found = [same] if same is not None and same.same_type(field) else []
        return [origin for origin in found if origin is not None]

    def check(self, message):
        def add(element, what, fix, fact=None):
            line = element.comment_line + fact.line if fact else element.line
            return element.finding("lineage", what, fix, line)

        facts, seen = message.comment.of("Source"), set()
        if not facts:
            yield add(message, "has no line Source in its comment", "add 'Source: ' and a record's full name, or 'Source: none'")
        for fact in facts:
            name, words = fact.source
            if name in seen or ("none" in (seen | {name}) and len(facts) > 1):
                yield add(message, f"'{fact.value}' is a second line that excludes the first", "keep one of them", fact)
            seen.add(name)
            if name == "none":
                continue
            record = self.contracts.messages.get(name)
            if words not in ("", "same data."):
                yield add(message, f"'{words}' is not what a message's source can be", "write nothing, or 'same data.'", fact)
            if record is None or record.file.is_upload:
                yield add(message, f"{name} is not a stored record", "write the full name of a message of storage/", fact)
            elif name not in self.kept:
                yield add(message, f"{name} is kept in no table", "write the full name of a table, or of a message that one holds",
                          fact)
        records = self.records(message)
        is_fed = any(words != "same data." for _, words in message.comment.sources)
        for field in message.fields:
            yield from self.field(field, records, is_fed, add)

    def field(self, field, records, is_fed, add):
        facts, seen = field.comment.of("Source"), set()
        for fact in facts:
            name, words = fact.source
            origin = self.source_field(records, name)
            if name in seen - {"none"}:
                yield add(field, f"has the source {name} twice", "keep one of them", fact)
            seen.add(name)
            if name == "none":
                if len(facts) > 1:
                    yield add(field, "has a source and none", "keep one of them", fact)
            elif not records:
                yield add(field, f"has the source {name}, which its message does not name", "name the record in the message's "
                          "comment", fact)
            elif origin is None:
                yield add(field, f"{name} is in no source record", "write a field of one of them, or none", fact)
            elif field.same_type(origin) and re.match(rf"{change_words(origin, field)} and (narrowed|retyped)\b", words, re.ASCII):
                yield add(field, f"the source says that the type changes, but both are {type_words(field)}",
                          f"write '{change_words(origin, field)}' without it", fact)
            elif not is_same_data(words) and not re.match(rf"({change_words(origin, field)}|computed)\b", words, re.ASCII):
                yield add(field, f"the source does not say how the field differs, but '{words}'",
                          f"begin with '{change_words(origin, field)}' or computed, or write 'same data.'", fact)
            elif not is_fed and not is_same_data(words):
                yield add(field, "comes from a record that only has the same data, as its message says", "write 'same data.'",
                          fact)
        yield from self.units(field, facts, add)
        # A part of an upload schema has a lineage of its own, or the finding is there.
        part = self.contracts.messages.get(field.type_name)
        if records and not facts and not self.origins(field) and not (part and part.file.is_upload):
            yield add(field, "has no line Source, and no source record has such a field",
                      "add 'Source: ' and the field that it comes from, or 'Source: none'")

    def units(self, field, facts, add):
        """A value that is not computed has the unit that it has in the record, unless its line names the other."""
        if not (field.is_number or field.is_text):
            return
        unit = facts_of(field, self.words).unit
        converted = {name for name, words in (fact.source for fact in facts) if words.startswith("computed") or ", in " in words}
        named = [(self.source_field(self.records(field.parent), fact.source[0]), fact) for fact in facts
                 if fact.source[0] not in converted]
        for origin, fact in named if facts else [(origin, None) for origin in self.origins(field)]:
            other = facts_of(origin, self.words).unit if origin is not None else unit
            if unit != other:
                same = fact is not None and is_same_data(fact.source[1])
                fix = f"or name the new unit: '{'same data' if same else change_words(origin, field)}, in megabytes.'"
                yield add(field, f"has {f'the unit {unit}' if unit else 'no unit'}, but {origin.full_name}, where it comes from, "
                          f"has {other or 'none'}", f"give both the same unit, {'' if same else 'write computed, '}{fix}", fact)
