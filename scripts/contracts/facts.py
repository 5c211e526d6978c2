"""The grammar of comments: prose and facts, and what the facts of a field state.

docs/contracts.md explains it, and has the words: units, formats, classes and suffixes are read from its tables.
"""

import dataclasses
import functools
import re

KEYS = ("Unit", "Values", "Format", "Privacy", "Source")
FACT = re.compile(r"([A-Z][a-z]*):(?: (.*))?|((?i:unit|values|format|privacy|source)):(.*)", re.ASCII)
SPACE = " \t\r"  # around the words of a line: other characters that look like space are part of them
VALUE = re.compile(r'("(?P<word>[^"]*)"|(?P<number>0|-?[1-9][0-9]*))( = (?P<meaning>(?!, )(?:(?! = ).)+?))?(?=, |$)', re.ASCII)
INTEGERS = {f"{sign}{kind}{bits}": bits for bits in (32, 64) for sign, kind in
            (("", "int"), ("u", "int"), ("s", "int"), ("", "fixed"), ("s", "fixed"))}  # with their bits


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
    for number, line in enumerate(raw.removesuffix("\n").split("\n")):
        words = line.strip(SPACE)
        fact = FACT.fullmatch(words)
        if fact and not line.startswith("  "):
            comment.facts.append(Fact(fact[1] or fact[3], (fact[2] or fact[4] or "").strip(SPACE), number))
            goes_on = True
        elif not words:
            goes_on = False
            prose.append("")
        elif goes_on:
            comment.facts[-1].value = f"{comment.facts[-1].value} {words}".strip(SPACE)
        elif comment.facts:
            comment.misplaced = comment.misplaced or (words, number)
        else:
            prose.append(line.removeprefix(" ").rstrip(SPACE))
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
        self.units_in_words = codes(re.search(r"What is counted is never one of(.*?):", units, re.DOTALL)[1])
        rows = re.compile(r"^\| `([^`]+)` \|", re.MULTILINE)
        self.formats = rows.findall(section("### Format", "### Privacy"))
        privacy = section("### Privacy", "## Conventions")
        self.classes = rows.findall(privacy)  # the most sensitive first
        self.personal = codes(re.search(r"or ends in one after an underscore:\n\n(.*?)\n\n", privacy, re.DOTALL)[1])

    def unit_of_name(self, name):
        head, _, last = name.rpartition("_")
        return self.suffixes.get(last, "") if head else ""

    def looks_personal(self, name):
        one = [name, *(name.removesuffix(end) + y for end, y in (("s", ""), ("es", ""), ("ies", "y")) if name.endswith(end))]
        return any(f"_{each}".endswith(f"_{personal}") for each in one for personal in self.personal)

    def rank(self, privacy):
        return len(self.classes) - self.classes.index(privacy) if privacy else 0


@dataclasses.dataclass
class Facts:
    """What the comment and the name of a field state; a fact that is malformed states nothing."""

    unit: str = ""
    unit_has_line: bool = False
    values: str = ""
    listed: list = dataclasses.field(default_factory=list)
    are_words: bool = False  # whether the listed values are in quotes
    meanings: dict = dataclasses.field(default_factory=dict)
    is_closed: bool = False
    format: str = ""
    privacy: str = ""


def read_values(text):
    """The values, whether they are words, their meanings, whether the list is closed; nothing if it is malformed."""
    listed, kinds, meanings, is_closed = [], set(), {}, True
    while text:
        if text == "..." and listed:
            is_closed = False
            break
        found = VALUE.match(text)
        if not found:
            return None
        kinds.add(found["word"] is not None)
        listed.append(found["word"] if found["word"] is not None else found["number"])
        if found["meaning"]:
            meanings[listed[-1]] = found["meaning"]
        text = text[found.end():]
        if text == ", ":
            return None
        text = text.removeprefix(", ")
    return (listed, True in kinds, meanings, is_closed) if len(kinds) == 1 else None


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
            facts.listed, facts.are_words, facts.meanings, facts.is_closed = values
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


@functools.cache
def vocabulary(path):
    with open(path, encoding="utf-8") as file:
        return Vocabulary(file.read())
