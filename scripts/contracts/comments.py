"""The comments of the schemas: prose, facts and lineage, and what is wrong with them.

docs/contracts.md has the grammar, and the words: units, formats, classes and suffixes are read from its tables.
"""

import dataclasses
import functools
import re

from contracts.finding import Finding

KEYS = ("Unit", "Values", "Format", "Privacy", "Source")
FACT = re.compile(r"([A-Z][a-z]*):(?: (.*))?|((?i:unit|values|format|privacy|source)):(.*)")
NO_QUANTITY = re.compile(r"(Number of|Code|Identifier|Index|Flags|Version|Ratio)\b")
VALUE = re.compile(r'("(?P<word>[^"]*)"|(?P<number>-?[0-9]+))( = (?P<meaning>.+?))?(?=, |$)')
CHANGES = re.compile(r"(renamed|retyped|narrowed|computed|copied)\b.*|same data\.")


@dataclasses.dataclass
class Fact:
    key: str
    value: str
    line: int  # of the comment, from 0

    @property
    def source(self):
        """Of a fact Source: the name and the words."""
        name, _, words = self.value.partition(", ")
        return name, words


@dataclasses.dataclass
class Comment:
    text: str = ""
    facts: list = dataclasses.field(default_factory=list)
    misplaced: tuple = ()  # prose after a fact: its first line, and where

    def of(self, key):
        return [fact for fact in self.facts if fact.key == key]

    @property
    def sources(self):
        return [fact.source for fact in self.of("Source")]


def parse(raw):
    comment, prose, goes_on = Comment(), [], False
    for number, line in enumerate(raw.splitlines()):
        words = line.strip()
        fact = FACT.fullmatch(words)
        if fact and not line.startswith("  "):
            comment.facts.append(Fact(fact[1] or fact[3], (fact[2] or fact[4] or "").strip(), number))
            goes_on = True
        elif not words:
            goes_on = False
            prose.append("")
        elif goes_on:
            comment.facts[-1].value = f"{comment.facts[-1].value} {words}".strip()
        elif comment.facts:
            comment.misplaced = comment.misplaced or (words, number)
        else:
            prose.append(line.removeprefix(" ").rstrip())
    comment.text = "\n".join(prose).strip("\n")
    return comment


class Vocabulary:
    """The words of docs/contracts.md."""

    def __init__(self, page):
        def section(begin, end):
            found = re.search(rf"^{begin}\n(.*?)^{end}\n", page, re.MULTILINE | re.DOTALL)
            if not found:
                raise ValueError(f"docs/contracts.md has no section from '{begin}' to '{end}'")
            return found[1]

        def codes(text):
            return re.findall(r"`([^`]+)`", text)

        units = section("### Unit", "### Values")
        self.suffixes = {
            suffix.removeprefix("_"): unit
            for names, unit in re.findall(r"\| ((?:`_\w+`(?:, )?)+) \| `([^`]+)` ", units)
            for suffix in codes(names)
        }
        self.units = codes(re.search(r"Codes in use: .*?\. ", units, re.DOTALL)[0])
        self.no_quantity = {word for line in re.findall(r"^- \w[^:]*:.*?(?=\n-|\n\n)", units, re.M | re.S) for word in codes(line)}
        rows = re.compile(r"^\| `([^`]+)` \|", re.MULTILINE)
        self.formats = rows.findall(section("### Format", "### Privacy"))
        privacy = section("### Privacy", "## Conventions")
        self.classes = rows.findall(privacy)  # the most sensitive first
        self.personal = codes(re.search(r"or ends in one after an underscore:\n\n(.*?)\n\n", privacy, re.DOTALL)[1])

    def unit_of_name(self, name):
        head, _, last = name.rpartition("_")
        return self.suffixes.get(last, "") if head else ""

    def looks_personal(self, name):
        several = name[:-1] if name.endswith("s") else name
        return any(f"_{one}".endswith(f"_{personal}") for one in (name, several) for personal in self.personal)

    def rank(self, privacy):
        return len(self.classes) - self.classes.index(privacy) if privacy else 0


@dataclasses.dataclass
class Facts:
    """What the comment and the name of a field state; a fact that is malformed states nothing."""

    unit: str = ""
    unit_has_line: bool = False
    values: str = ""
    listed: list = dataclasses.field(default_factory=list)
    meanings: dict = dataclasses.field(default_factory=dict)
    is_closed: bool = False
    format: str = ""
    privacy: str = ""


def read_values(text):
    """The values, their meanings and whether the list is closed; nothing if it is malformed."""
    listed, meanings, is_closed = [], {}, True
    while text:
        if text == "..." and listed:
            is_closed = False
            break
        found = VALUE.match(text)
        if not found:
            return None
        listed.append(found["word"] if found["word"] is not None else found["number"])
        if found["meaning"]:
            meanings[listed[-1]] = found["meaning"]
        text = text[found.end():]
        if text == ", ":
            return None
        text = text.removeprefix(", ")
    return (listed, meanings, is_closed) if listed else None


def read_fact(fact, facts, words):
    """Adds what one fact states; false if it is malformed."""
    unspecified = re.fullmatch(r"unspecified(, .+\.)?", fact.value) is not None
    if fact.key == "Unit":
        if not unspecified and fact.value not in words.units:
            return False
        facts.unit, facts.unit_has_line = "unspecified" if unspecified else fact.value, True
    elif fact.key == "Values":
        values = None if unspecified else read_values(fact.value)
        if not unspecified and values is None:
            return False
        facts.values = "unspecified" if unspecified else fact.value
        if values:
            facts.listed, facts.meanings, facts.is_closed = values
    elif fact.key == "Format":
        if not unspecified and fact.value not in words.formats:
            return False
        facts.format = "unspecified" if unspecified else fact.value
    elif fact.key == "Privacy":
        if fact.value not in words.classes:
            return False
        facts.privacy = fact.value
    return True


def facts_of(field, words):
    facts = Facts()
    for fact in field.comment.facts:
        read_fact(fact, facts, words)
    if not facts.unit_has_line and (field.is_number or field.is_text):
        facts.unit = words.unit_of_name(field.name)
    return facts


FIXES = {
    "Unit": "use a code of docs/contracts.md, or unspecified",
    "Format": "use a format of docs/contracts.md, or unspecified",
    "Privacy": "use identifier, location, content or interaction",
    "Values": 'list "words" or numbers, separated by commas, with ... at the end of an open list, or write unspecified',
}


class Check:
    def __init__(self, contracts, words):
        self.contracts, self.words = contracts, words
        self.kept = {part.full_name for message in contracts.messages.values() if message.table is not None
                     for part in contracts.parts(message)}

    def run(self):
        for file in self.contracts.files:
            for fact in file.comment.facts:
                yield _file_finding(file, fact)
            for message in file.walk():
                yield from self.message(message)
            for extension in file.extensions:
                yield from self.prose(extension)
                yield from self.field(extension)
        for enum in self.contracts.enums.values():
            yield from self.prose(enum)
            yield from self.keys(enum, ())
            for value in enum.values:
                yield from self.keys(value, ())

    def message(self, message):
        yield from self.prose(message)
        yield from self.keys(message, ("Source",) if message.file.is_upload else ())
        for field in message.fields:
            yield from self.field(field)
        if message.file.is_upload and not message.file.extensions:
            yield from self.lineage(message)

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
        by_name = self.words.unit_of_name(field.name)
        if facts.unit_has_line and facts.unit == by_name:
            yield field.finding("comment", f"the name gives the unit {facts.unit} already", "remove the line", lines["Unit"])
        shows_none = field.name.startswith("number_of_") or field.name.rpartition("_")[2] in self.words.no_quantity
        if field.is_number and not (field.comment.of("Unit") or by_name or facts.values or shows_none
                                    or NO_QUANTITY.match(field.comment.text)):
            yield field.finding("comment", "is a number without a unit", "add a line Unit, or begin the comment with "
                                "'Number of', 'Code', 'Identifier', 'Index', 'Flags', 'Version' or 'Ratio'",
                                field.comment_line)
        holds_data = field.parent is not None and not field.file.extensions and field.type not in self.contracts.messages
        if not facts.privacy and holds_data and field.type != "bool" and self.words.looks_personal(field.name):
            yield field.finding("privacy", "its name looks personal", "add a line Privacy", field.comment_line)
            return
        for origin in self.origins(field):
            source = facts_of(origin, self.words).privacy
            if self.words.rank(facts.privacy) < self.words.rank(source):
                yield field.finding("privacy", f"is less sensitive than {origin.full_name}, where it comes from",
                                    f"set Privacy: {source}", lines.get("Privacy", field.comment_line))

    # --- Lineage.

    def records(self, message):
        return [self.contracts.messages[name] for name, _ in message.comment.sources if name in self.contracts.messages]

    def source_field(self, records, name):
        """The field that a name means: "field", "Record.field" or a "part.field" of a record."""
        for record in records:
            holder, field = record, None
            for step in name.removeprefix(record.name + ".").split("."):
                field = holder.field(step) if holder else None
                holder = self.contracts.messages.get(field.type_name) if field else None
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

    def lineage(self, message):
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
            yield from self.lineage_of_field(field, records, is_fed, add)

    def lineage_of_field(self, field, records, is_fed, add):
        facts = field.comment.of("Source")
        for fact in facts:
            name, words = fact.source
            if name == "none":
                if len(facts) > 1:
                    yield add(field, "has a source and none", "keep one of them", fact)
            elif not records:
                yield add(field, f"has the source {name}, which its message does not name", "name the record in the message's "
                          "comment", fact)
            elif self.source_field(records, name) is None:
                yield add(field, f"{name} is in no source record", "write a field of one of them, or none", fact)
            elif not CHANGES.fullmatch(words):
                yield add(field, f"the source does not say how the field differs, but '{words}'",
                          "begin with renamed, retyped, narrowed, computed or copied, or write 'same data.'", fact)
            elif not is_fed and words != "same data.":
                yield add(field, "comes from a record that only has the same data, as its message says", "write 'same data.'",
                          fact)
        # A part of an upload schema has a lineage of its own, or the finding is there.
        part = self.contracts.messages.get(field.type_name)
        if records and not facts and not self.origins(field) and not (part and part.file.is_upload):
            yield add(field, "has no line Source, and no source record has such a field",
                      "add 'Source: ' and the field that it comes from, or 'Source: none'")


def _file_finding(file, fact):
    line, text = file.place((12,))
    return Finding(file.name, line - text.count("\n") + fact.line, "comment",
                   f"'{fact.key}:' does not belong into a file's comment", "remove the line")


@functools.cache
def vocabulary(path):
    with open(path, encoding="utf-8") as file:
        return Vocabulary(file.read())
