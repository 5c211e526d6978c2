"""What docs/privacy.md says of the example agent, held against its collectors: a row for each, with what it keeps and where
it goes."""

import glob
import os
import re

from contracts import frame
from contracts.finding import Finding

PAGE = "docs/privacy.md"
COLLECTORS = "examples/agent/collectors"
PLATFORMS = ("linux", "windows")
HEADING = re.compile(r"^\| Collector \|.*\n\|[-|]+\n", re.MULTILINE)
KEPT = re.compile(r"\bfound\.(?:Add|Append|Begin)<(?:\w+::)*(\w+)>")
RULE = "collector"


def _read(path):
    with open(path, encoding="utf-8") as file:
        return file.read()


def _collectors(root):
    """The collectors in the tables of the example: {name: {platform: the records that its function names}}."""
    found = {}
    for platform in PLATFORMS:
        for path in sorted(glob.glob(os.path.join(root, COLLECTORS, platform, "*.cc"))):
            text = _read(path)
            for table in re.findall(r"^constexpr \w+Collector k\w+\[\] = \{\n(.*?)^\};", text, re.M | re.S):
                for name, function in re.findall(r'\{"(\w+)",\s*(\w+)\}', table):
                    body = re.search(rf"^void {function}\(.*?^}}", text, re.M | re.S)
                    found.setdefault(name, {})[platform] = KEPT.findall(body[0]) if body else []
    return found


def _row(name, platforms, contracts, sent):
    """The row of a collector, as far as the code says it."""
    records = list(dict.fromkeys(record for each in platforms.values() for record in each))
    payloads = [payload.name for payload in contracts.messages.values() if payload.name in sent and
                any(source.rpartition(".")[2] in records for source, _ in payload.comment.sources)]
    cells = [f"`{name}`", *("what it reads" if platform in platforms else "-" for platform in PLATFORMS),
             ", ".join(f"`{record}`" for record in records) or "what it keeps",
             ", ".join(f"`{payload}`" for payload in payloads) or "not sent"]
    return f"| {' | '.join(cells)} |"


def check(root, contracts):
    collectors = _collectors(root)
    text = _read(os.path.join(root, PAGE)) if os.path.exists(os.path.join(root, PAGE)) else ""
    heading = HEADING.search(text)
    if not collectors or heading is None:
        return
    first = text.count("\n", 0, heading.end()) + 1
    lines = text[heading.end():].partition("\n\n")[0].splitlines()
    rows = {}  # the number of its line, and the cells
    for number, line in enumerate(lines, first):
        if named := re.match(r"\| `(\w+)` \|", line):
            rows[named[1]] = (number, [cell.strip() for cell in line.strip("| ").split(" | ")])
    sent = frame.sent(root) or set()
    section = text[heading.start():].partition("\n## ")[0]
    for name, platforms in collectors.items():
        if name not in rows:
            row = _row(name, platforms, contracts, sent)
            yield Finding(PAGE, first, RULE, f"has no row for the collector '{name}'", f"add it, and say what is read: {row}")
            section += row
            continue
        number, cells = rows[name]
        for platform, cell in zip(PLATFORMS, cells[1:]):
            if (cell == "-") == (platform in platforms):
                yield Finding(PAGE, number, RULE, f"has '{cell}' for the collector '{name}' on {platform}",
                              "say what it reads there" if platform in platforms else "write -, it is not collected there")
        for record in dict.fromkeys(record for each in platforms.values() for record in each):
            if f"`{record}`" not in " | ".join(cells[3:4]):
                yield Finding(PAGE, number, RULE, f"does not say that the collector '{name}' keeps {record}",
                              f"add `{record}` under 'Kept in'")
    for name, (number, _) in rows.items():
        if name not in collectors:
            yield Finding(PAGE, number, RULE, f"has a row for '{name}', which is not a collector", "remove it, or correct the name")
    for payload in sorted(sent):
        if f"`{payload}`" not in section:
            yield Finding(PAGE, first, RULE, f"does not say what the payload {payload} of the example carries",
                          "name it under 'Sent in' of the collectors whose records it has")
