#!/usr/bin/python3
"""Holds the pages (README, docs/ and the others in Markdown) against the tree: each link leads to a file and a heading
that exist, docs/index.md names each page, and each message of ours in docs/troubleshooting.md is in a string of the code.

Usage: pages_test.py SOURCE_DIR
"""

import pathlib
import re
import subprocess
import sys
import tempfile

FENCE = re.compile(r"^```.*?^```$", re.MULTILINE | re.DOTALL)
LINK = re.compile(r"\[(?:[^\]\[]|\[[^\]]*\])*\]\(([^)\s]+)\)")
# The rest of the messages are those of loaders and of protobuf's runtime.
OURS = ("Configuring and building", "The example's store", "The tool")


def anchors(text):
    """The names by which links reach the headings of a page."""
    found = set()
    for heading in re.findall(r"^#+ (.+)$", FENCE.sub("", text), re.MULTILINE):
        name = re.sub(r"[^\w\- ]", "", re.sub(r"\[([^\]]*)\]\([^)]*\)", r"\1", heading).lower()).replace(" ", "-")
        found.add(name if name not in found else f"{name}-1")
    return found


def broken_links(root, pages):
    for page in pages:
        text = (root / page).read_text()
        prose = FENCE.sub(lambda block: "\n" * block[0].count("\n"), text)
        for link in LINK.finditer(re.sub(r"`[^`\n]*`", lambda code: " " * len(code[0]), prose)):
            path, _, anchor = link[1].partition("#")
            if re.match(r"[a-z]+:", path):
                continue
            target = (root / page).parent / path if path else root / page
            line = prose.count("\n", 0, link.start()) + 1
            if not target.exists():
                yield f"{page}:{line}: {link[1]} leads to a file that does not exist"
            elif anchor and anchor not in anchors(target.read_text()):
                yield f"{page}:{line}: {link[1]} leads to a heading that does not exist"


def unnamed_pages(root, pages):
    index = (root / "docs" / "index.md").read_text()
    for page in pages:
        if page.startswith("docs/") and page != "docs/index.md" and f"]({page.removeprefix('docs/')}" not in index:
            yield f"docs/index.md: does not name {page}; say there what it answers"


def literals(file, text):
    """The strings of each statement of a source, in their order: what one line of output can consist of."""
    if file.endswith((".cmake", "CMakeLists.txt")):
        return [[text[1:-1]] for text in re.findall(r'"(?:[^"\\]|\\.)*"', re.sub(r"^\s*#.*", "", text, flags=re.MULTILINE))]
    statements, strings = [], []
    for token in re.finditer(r'//[^\n]*|/\*.*?\*/|"((?:[^"\\\n]|\\.)*)"|\'(?:[^\'\\\n]|\\.)+\'|[;{}]', text, re.DOTALL):
        if token[1] is not None:
            # A string that goes on in the next line is one.
            goes_on = strings and not text[strings_end:token.start()].strip()
            if goes_on:
                strings[-1] += token[1]
            else:
                strings.append(token[1])
            strings_end = token.end()
        elif token[0] in ";{}" and strings:
            statements.append(strings)
            strings = []
    return statements


def is_printed(message, statements):
    """Whether strings of one statement have the parts of a message, in their order; "..." is what is filled in."""
    pattern = re.compile(".*".join(re.escape(part.strip()) for part in message.split("...")), re.DOTALL)
    return any(pattern.search("\0".join(strings)) for strings in statements)


def unknown_messages(root, files):
    statements = [strings for file in files for strings in literals(file, (root / file).read_text())]
    page = (root / "docs" / "troubleshooting.md").read_text()
    for section in OURS:
        found = re.search(rf"^## {section}\n(.*?)(?=^## |\Z)", page, re.MULTILINE | re.DOTALL)
        rows = re.findall(r"^\| `([^`]+)`", found[1], re.MULTILINE) if found else []
        if not rows:
            yield f"docs/troubleshooting.md: has no message in the section '{section}'; correct this test or the page"
        for message in rows:
            if not is_printed(message, statements):
                yield f"docs/troubleshooting.md: '{message}': no code prints this"


def other_facts(root):
    """Numbers and lists of the pages that the code has too."""
    released = max((folder.name for folder in (root / "compat").glob("*.*.*")), key=lambda name: [*map(int, name.split("."))])
    if f"| Version | {released};" not in (root / "README.md").read_text():
        yield f"README.md: does not say that the newest release is {released}"
    page = (root / "docs" / "tool.md").read_text()
    rules = re.findall(r'\{Change::k\w+, "([a-z-]+)", ([\w| ]+),', (root / "tool" / "diff" / "rules.cc").read_text())
    kinds = {"kWire | kSource": "`wire`, `source`", "kWire": "`wire`", "kSource": "`source`", "kStore": "`store`", "kSafe": "none (safe)"}
    for kind, name in kinds.items():
        row = f"| {name} | " + ", ".join(f"`{rule}`" for rule, breaks in rules if breaks == kind) + " |"
        if row not in page:
            yield f"docs/tool.md: the table of what breaks does not have the row {row}"


def find(root, names):
    pages = [name for name in names if name.endswith(".md")]
    sources = [name for name in names if name.endswith((".cc", ".h", ".cmake", "CMakeLists.txt"))
               and not name.startswith(("tests/", "benchmarks/", "fuzz/"))]
    return [*broken_links(root, pages), *unnamed_pages(root, pages), *unknown_messages(root, sources)]


def try_itself():
    """One mistake of each kind must be found."""
    rows = "".join(f"## {section}\n\n| `it is ... that` |\n\n" for section in OURS)
    pages = {
        "docs/index.md": "[a](a.md)\n",
        "docs/a.md": "# One (1)\n\n[b](#one-1) [c](#two) `[d](e.md)` [f](g.md)\n\n```\n# Two\n```\n",
        "docs/h.md": "# H\n",
        "docs/troubleshooting.md": rows,
        # The last two parts are in comments, or in another order, or in another statement.
        "a.cc": 'f("it " /* so */\n"is" + x + "not"); // it is that\ng("that", "it is"); h("it is"); h("that");\n',
        "b.cmake": '# it is that\nmessage("it is not")\n',
    }
    wanted = ["docs/a.md:3: #two leads to a heading", "docs/a.md:3: g.md leads to a file", "does not name docs/h.md",
              "does not name docs/troubleshooting.md", *["no code prints this"] * len(OURS)]
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        for name, text in pages.items():
            (root / name).parent.mkdir(exist_ok=True)
            (root / name).write_text(text)
        found = find(root, list(pages))
        (root / "c.cc").write_text('f("so it is " + x + ", that");')
        if [*unknown_messages(root, [*pages, "c.cc"][4:])]:
            sys.exit("pages_test: does not find a message that is printed")
    if len(found) != len(wanted) or not all(want in said for want, said in zip(wanted, found)):
        sys.exit(f"pages_test: finds {found}, not {wanted}")


root = pathlib.Path(sys.argv[1])
try_itself()
listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=root, check=True, capture_output=True, text=True)
failures = [*find(root, [name for name in listed.stdout.splitlines() if (root / name).is_file()]), *other_facts(root)]
for failure in failures:
    print(f"pages_test: {failure}", file=sys.stderr)
sys.exit(1 if failures else 0)
