#!/usr/bin/python3
"""Holds the pages (README, docs/ and the others in Markdown) against the tree: each link leads to a file and a heading
that exist, docs/index.md names each page, and each message of ours in docs/troubleshooting.md is in the code.

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


def unknown_messages(root, files):
    code = "".join((root / file).read_text() for file in files)
    code = re.sub(r'"\s*\n?\s*"', "", code)  # a string that goes on in the next line
    page = (root / "docs" / "troubleshooting.md").read_text()
    for section in OURS:
        found = re.search(rf"^## {section}\n(.*?)(?=^## |\Z)", page, re.MULTILINE | re.DOTALL)
        rows = re.findall(r"^\| `([^`]+)`", found[1], re.MULTILINE) if found else []
        if not rows:
            yield f"docs/troubleshooting.md: has no message in the section '{section}'; correct this test or the page"
        for message in rows:
            for part in filter(None, (part.strip() for part in message.split("..."))):
                if part not in code:
                    yield f"docs/troubleshooting.md: '{message}': no code prints '{part}'"


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
        "a.cc": '"it "\n"is"\n',
    }
    wanted = ["docs/a.md:3: #two leads to a heading", "docs/a.md:3: g.md leads to a file", "does not name docs/h.md",
              "does not name docs/troubleshooting.md", *["no code prints 'that'"] * len(OURS)]
    with tempfile.TemporaryDirectory() as folder:
        root = pathlib.Path(folder)
        for name, text in pages.items():
            (root / name).parent.mkdir(exist_ok=True)
            (root / name).write_text(text)
        found = find(root, list(pages))
    if len(found) != len(wanted) or not all(want in said for want, said in zip(wanted, found)):
        sys.exit(f"pages_test: finds {found}, not {wanted}")


root = pathlib.Path(sys.argv[1])
try_itself()
listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=root, check=True, capture_output=True, text=True)
failures = find(root, [name for name in listed.stdout.splitlines() if (root / name).is_file()])
for failure in failures:
    print(f"pages_test: {failure}", file=sys.stderr)
sys.exit(1 if failures else 0)
