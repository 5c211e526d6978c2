"""What is wrong with the comments of the schemas: their form, their facts, and the privacy classes."""

import re
import struct

from contracts.conventions import change_log
from contracts.facts import Fact, Facts, INTEGERS, KEYS, SPACE, facts_of, read_fact
from contracts.finding import Finding
from contracts.lineage import Lineage
from contracts.schemas import SYNTAX

# What looks like a fact: a key in a line, or a line of a key and one of its values.
KEY_IN_LINE = re.compile(r"\b(Unit|Values|Format|Privacy|Source)\s*[:=]", re.ASCII)
KEY_AND_VALUE = re.compile(r"([-@*]\s*)?(?P<key>unit|values|format|privacy|source)(\s*[:=]|\s)\s*(?P<value>.*)",
                           re.ASCII | re.IGNORECASE)
NO_QUANTITY = re.compile(r"(Number of|Code|Identifier|Index|Flags|Version|Ratio)\b", re.ASCII)
COUNT = re.compile(r"Number of\b", re.ASCII)
FLAGS = re.compile(r"Flags\b", re.ASCII)
ONE_OF_FIELD = "the field that it is of, or remove it"
NUMERIC = ("decimal number", "integer", "hexadecimal", "unspecified")  # formats of a string that can have a unit

FIXES = {
    "Unit": "use a code of docs/contracts.md, or unspecified",
    "Format": "use a format of docs/contracts.md, or unspecified",
    "Privacy": "use identifier, location, content or interaction",
    "Values": 'list "words" or integers with ", " between them, and in no meaning, with ... at the end of an open list, or write '
              'unspecified',
}


def says_no_quantity(prose, words):
    """Whether the prose says that a number has no unit: "Number of rows", "Code of the error"."""
    counted = re.match(r"Number of\s+(\w+)", prose, re.ASCII)
    return NO_QUANTITY.match(prose) and not (counted and counted[1] in words.units_in_words)


def can_be(number, kind):
    """Whether an integer is a value of a type: of float and double only some are."""
    if bits := INTEGERS.get(kind):
        least = 0 if kind.startswith(("u", "fixed")) else -(1 << (bits - 1))
        return least <= number < least + (1 << bits)
    code = "f" if kind == "float" else "d"
    try:
        return struct.unpack(code, struct.pack(code, number))[0] == number
    except (OverflowError, struct.error):
        return False


def wrong_values(field, facts):
    """What is wrong with the listed values of a field, and the fix; nothing if they fit it."""
    if not facts.listed or not (field.is_number or field.is_text):
        return None
    if facts.are_words != field.is_text:
        return ("is a string, but lists numbers", "put each word in quotes") if field.is_text else (
            "is a number, but lists words", "write numbers without quotes")
    twice = next((value for i, value in enumerate(facts.listed) if value in facts.listed[:i]), None)
    if twice is not None:
        return f"lists {twice} twice", "keep one of them"
    if field.is_text:
        return None
    numbers = [int(value) for value in facts.listed]
    wrong = next((number for number in numbers if not can_be(number, field.type)), None)
    if wrong is not None:
        return f"lists {wrong}, which no {field.type} can be", "list values of its type"
    if FLAGS.match(field.comment.text):
        wrong = next((number for number in numbers if number <= 0 or number & (number - 1) or number >> 64), None)
        if wrong is not None:
            return f"is a set of flags, but lists {wrong}, which is not one bit", "list powers of two"
    return None


def looks_like_fact(line, words):
    """Whether a line says what a fact says, in another form or place."""
    if KEY_IN_LINE.search(line):
        return True
    found = KEY_AND_VALUE.fullmatch(line)
    if not found:
        return False
    key, value = found["key"].capitalize(), found["value"]
    return any(text == "none" if key == "Source" else read_fact(Fact(key, text, 0), Facts(), words)
               for text in (value, value.removesuffix(".")))


class Check:
    def __init__(self, contracts, words):
        self.contracts, self.words, self.lineage = contracts, words, Lineage(contracts, words)

    def run(self):
        for file in self.contracts.files:
            yield from self.file(file)
            for message in file.walk():
                yield from self.message(message)
            for extension in file.extensions:
                yield from self.prose(extension)
                yield from self.field(extension)
        yield from self.change_logs()
        for enum in self.contracts.enums.values():
            yield from self.prose(enum)
            yield from self.keys(enum, ())
            for value in enum.values:
                yield from self.keys(value, ())

    def file(self, file):
        """The comment of a file, and those of what can have no facts."""
        line, text = file.place(SYNTAX)
        line -= text.count("\n")
        for fact in file.comment.facts:
            yield Finding(file.name, line + fact.line, "comment",
                          f"'{fact.key}:' does not belong into a file's comment", "remove the line")
        unread = list(self.unread(line, text, file.comment.facts, []))
        for line, above, others in file.comments_elsewhere:
            unread += self.unread(line, above, [], others)
        for words, line in unread:
            yield Finding(file.name, line, "comment", *_is_unread(words, ONE_OF_FIELD))

    def message(self, message):
        yield from self.prose(message)
        yield from self.keys(message, ("Source",) if message.file.is_upload else ())
        for field in message.fields:
            yield from self.field(field)
        if message.file.is_upload and not message.file.extensions:
            yield from self.lineage.check(message)

    def prose(self, element):
        if " " not in element.comment.text:
            yield element.finding("comment", "has no comment", "say above it what it is", element.comment_line)

    def keys(self, element, allowed):
        """The keys of a comment: known, allowed here, each once but Source, in their order, no prose after."""
        comment, last, seen = element.comment, 0, set()
        for fact in comment.facts:
            def add(what, fix, fact=fact):
                return element.finding("comment", what, fix, element.comment_line + fact.line)

            if fact.key not in KEYS:
                yield add(f"'{fact.key}:' is not a fact", "use Unit, Values, Format, Privacy or Source, or write the "
                          "sentence without a colon after its first word")
                continue
            place = KEYS.index(fact.key)
            if fact.key not in allowed:
                yield add(f"{fact.key} does not belong here", "remove the line")
            elif fact.key != "Source" and fact.key in seen:
                yield add(f"{fact.key} is given twice", "keep one line")
            elif place < last:
                yield add(f"{fact.key} comes after {KEYS[last]}", "the order is Unit, Values, Format, Privacy, Source")
            last = max(last, place)
            seen.add(fact.key)
        if comment.misplaced:
            text, number = comment.misplaced
            yield element.finding("comment", f"'{text}' comes after the facts", "write prose before them",
                                  element.comment_line + number)
        place = "the declaration" if allowed else ONE_OF_FIELD
        text = element.file.place(element.path)[1]
        for words, line in self.unread(element.comment_line, text, comment.facts, element.other_comments):
            yield element.finding("comment", *_is_unread(words, place), line)

    def unread(self, line, above, facts, others):
        """The lines that look like a fact, but are not read as one: their form is another, or their comment is not the
        one above. With the number of each; of the other comments only the first, at the line given."""
        read = {fact.line for fact in facts}
        for number, text in enumerate(above.split("\n")):
            words = text.strip(SPACE)
            if KEY_IN_LINE.search(words.partition(":")[2]) if number in read else looks_like_fact(words, self.words):
                yield words, line + number
        lines = (text.strip(SPACE) for other in others for text in other.split("\n"))
        if words := next((text for text in lines if looks_like_fact(text, self.words)), None):
            yield words, line

    def field(self, field):
        can_have_unit = field.is_number or field.is_text
        allowed = ["Privacy", *(["Unit", "Values"] if can_have_unit else []), *(["Format"] if field.is_text else []),
                   *(["Source"] if field.file.is_upload else [])]
        yield from self.keys(field, allowed)

        facts, lines = Facts(), {}
        for fact in field.comment.facts:
            line = lines.setdefault(fact.key, field.comment_line + fact.line)
            if not read_fact(fact, facts, self.words):
                yield field.finding("comment", f"'{fact.value}' is not a value of {fact.key}", FIXES[fact.key], line)
        if wrong := wrong_values(field, facts):
            yield field.finding("comment", *wrong, lines["Values"])
        by_name = self.words.unit_of_name(field.name)
        # The suffix misleads after "per", and where a reason says so.
        misleads = "_per_" + field.name.rpartition("_")[2] in field.name or any(
            fact.value.startswith("unspecified, ") for fact in field.comment.of("Unit"))
        if facts.unit_has_line and facts.unit == by_name:
            yield field.finding("comment", f"the name gives the unit {facts.unit} already", "remove the line", lines["Unit"])
        elif facts.unit_has_line and by_name and not misleads:
            yield field.finding("comment", f"has the unit {facts.unit}, but its name gives {by_name}",
                                "remove the line, or give the field another name", lines["Unit"])
        unit = facts.unit or (by_name if field.is_text else "")
        if field.is_text and unit and facts.format not in NUMERIC:
            yield field.finding("comment", f"is a string with the unit {unit}, but its format is not that of a number",
                                "add Format: decimal number, integer, hexadecimal or unspecified",
                                lines.get("Unit", field.comment_line))
        shows_none = field.name.startswith("number_of_") or field.name.rpartition("_")[2] in self.words.no_quantity
        if field.is_number and not (field.comment.of("Unit") or by_name or field.comment.of("Values") or shows_none
                                    or says_no_quantity(field.comment.text, self.words)):
            yield field.finding("comment", "is a number without a unit", "add a line Unit, or begin the comment with "
                                "'Number of', 'Code', 'Identifier', 'Index', 'Flags', 'Version' or 'Ratio'",
                                field.comment_line)
        holds_data = field.parent is not None and not field.file.extensions and field.type not in self.contracts.messages
        counts = field.is_number and (field.name.startswith("number_of_") or COUNT.match(field.comment.text))
        if not facts.privacy and holds_data and not (field.type == "bool" or counts) and self.words.looks_personal(field.name):
            yield field.finding("privacy", "its name looks personal", "add a line Privacy", field.comment_line)
            return
        for origin in self.lineage.origins(field):
            needed = [(origin, facts_of(origin, self.words).privacy)]
            # A value of parts: of the text of a position as of its coordinates.
            if origin.type_name in self.contracts.types and holds_data and not (field.type == "bool" or counts):
                needed.append(self.highest(self.contracts.types[origin.type_name]))
            source, privacy = max(needed, key=lambda each: self.words.rank(each[1]))
            if self.words.rank(facts.privacy) < self.words.rank(privacy):
                yield field.finding("privacy", f"is less sensitive than {source.full_name}, where it comes from",
                                    f"set Privacy: {privacy}", lines.get("Privacy", field.comment_line))

    def highest(self, record):
        """The field with the highest class among those of a record and of what it holds, and the class."""
        found = [(field, facts_of(field, self.words).privacy) for part in self.contracts.parts(record)
                 for field in getattr(part, "fields", [])]
        return max(found, key=lambda each: self.words.rank(each[1]), default=(None, ""))

    def change_logs(self):
        """The strings of a change log hold whole rows: they are as sensitive as the most sensitive column."""
        tables = [message for message in self.contracts.messages.values() if message.table is not None]
        needed = {}
        for state in tables:
            log = change_log(state, tables) if state.table.type == "State" else None
            if log is not None:
                needed[log.full_name] = max(needed.get(log.full_name, (None, "")), self.highest(state),
                                            key=lambda each: self.words.rank(each[1]))
        for log, (column, privacy) in needed.items():
            for name in ("previous_state", "current_state"):
                field = self.contracts.messages[log].field(name)
                if self.words.rank(facts_of(field, self.words).privacy) < self.words.rank(privacy):
                    yield field.finding("privacy", f"is less sensitive than {column.full_name}, which is in the rows that it holds",
                                        f"set Privacy: {privacy}", field.line_of_fact("Privacy"))


def _is_unread(words, place):
    return f"'{words}' is not read as a fact", f"write it as 'KEY: value' on a line of its own, directly above {place}"
