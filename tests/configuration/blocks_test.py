#!/usr/bin/python3
"""Runs every code block of the pages: what README and docs/ show must work, and print what they show.

A shell block is run by bash in a folder of its page. After a line that begins with "$ " follows what the command prints
(both streams; "..." is anything); a block without such lines is commands, which must succeed. A comment in the page
before the block, or before a table, says more:

  <!-- first: COMMANDS -->       run before the block, not shown
  <!-- run by: FILE -->          the test that extracts the block (it names the page) or runs its programs (it names them)
  <!-- in: FILE... -->           not commands: each paragraph of the block is in one of the files
  <!-- within: CODE -->          C++ that compiles where CODE has @@; "..." is left out
  <!-- keys of: COMMANDS -->     a table: its first column are the keys of the JSON that the commands print
  <!-- not run: REASON -->       printed, for a reader of the test's output to judge

Usage: blocks_test.py SOURCE_DIR BUILD_DIR [PAGE...]
"""

import json
import os
import pathlib
import re
import subprocess
import sys
import tempfile

COMMENT = r"(?:^ *<!--(?:(?!-->).)*-->\n+)"
BLOCK = re.compile(rf"({COMMENT}*)^( *)```([^\n]*)\n(.*?)^\2```$", re.MULTILINE | re.DOTALL)
TABLE = re.compile(rf"({COMMENT}+)((?:^\|[^\n]*\n)+)", re.MULTILINE | re.DOTALL)
MARK = re.compile(r"<!-- ?(first|run by|in|within|keys of|not run):\s*(.*?)\s*-->", re.DOTALL)


class Pages:
    def __init__(self, source, build, work):
        self.source, self.build, self.work = source, build, work
        self.left_out = []
        self.environment = os.environ | {
            "SOURCE": str(source), "BUILD": str(build), "LC_ALL": "C.UTF-8", "NO_COLOR": "1", "PYTHONDONTWRITEBYTECODE": "1",
            "PATH": f"{build}/tool:{build}/examples/agent:{os.environ['PATH']}"}

    def run(self, command, folder):
        done = subprocess.run(["bash", "-o", "pipefail", "-c", command], cwd=folder, env=self.environment, check=False,
                              stdin=subprocess.DEVNULL, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, encoding="utf-8")
        return done.returncode, done.stdout

    def shell(self, text, folder):
        """Runs the commands of a block; what is wrong."""
        shown = re.split(r"^\$ ", text, flags=re.MULTILINE)
        if shown[0].strip():  # commands only
            code, output = self.run("set -e\n" + text, folder)
            return f"ends with {code} and prints:\n{output}" if code else None
        for step in shown[1:]:
            command, _, wanted = step.partition("\n")
            while command.endswith("\\"):
                more, _, wanted = wanted.partition("\n")
                command += "\n" + more
            code, output = self.run(command, folder)
            if not wanted.strip():
                if code:
                    return f"'{command}' ends with {code} and prints:\n{output}"
                continue
            pattern = re.escape(wanted.rstrip("\n")).replace(r"\.\.\.", ".*")
            if not re.fullmatch(pattern, output.rstrip("\n"), re.DOTALL):
                return f"'{command}' prints:\n{output}"
        return None

    def by_test(self, name, text, page):
        file = self.source / name
        test = file.read_text() if file.is_file() else ""
        programs = {line.split()[0] for line in text.splitlines() if line.strip() and not line.startswith("#")}
        if page not in test and not all(program in test for program in programs):
            return f"{name} runs neither the blocks of {page} nor {', '.join(sorted(programs))}"
        return None

    def in_files(self, names, text):
        whole = re.sub(r"^ +", "", "\n".join((self.source / name).read_text() for name in names.split()), flags=re.MULTILINE)
        for paragraph in text.strip("\n").split("\n\n"):
            if paragraph not in whole:
                return f"{names} does not have:\n{paragraph}"
        return None

    def compiles(self, code, text, folder):
        block = re.sub(r"^ *(?:\.\.\.|//.*)\n", "", text, flags=re.MULTILINE)
        (folder / "block.cc").write_text(code.replace("@@", block) + "\n")
        include = [folder, folder / "generated", self.source, self.source / "examples/agent", self.source / "library/include",
                   self.build / "library/generated"]
        flags = " ".join(f"-isystem '{path}'" for path in include)
        failed, output = self.run(f"g++ -std=c++20 -fsyntax-only {flags} block.cc", folder)
        return f"does not compile:\n{output}" if failed else None

    def keys(self, commands, table, folder):
        found = set()
        for command in commands.split("\n"):
            code, output = self.run(f"{{ {command}; }} 2>/dev/null", folder)
            try:
                json.loads(output, object_pairs_hook=lambda pairs: found.update(key for key, _ in pairs))
            except ValueError:
                return f"'{command}' ends with {code} and prints no JSON:\n{output}"
        first = set(re.findall(r"`(\w+)`", "".join(re.findall(r"^\| ([^|]*) \|", table, re.MULTILINE))))
        missing = found - set(re.findall(r"`(\w+)`", table))  # some are in the column that explains a list
        if first - found or missing:
            return f"names {sorted(first - found)}, which are not in the JSON, and not {sorted(missing)}"
        return None

    def block(self, page, folder, line, info, text, marks):
        kinds = [kind for kind, _ in marks if kind != "first"]
        for kind, commands in marks:
            if kind == "first":
                code, output = self.run("set -e\n" + commands, folder)
                if code:
                    return f"what is run first ends with {code} and prints:\n{output}"
        if not kinds:
            return self.shell(text, folder) if info in ("", "sh") else "says neither how it is run nor why not"
        if len(kinds) > 1:
            return f"has {' and '.join(kinds)}; use one"
        kind, value = next(mark for mark in marks if mark[0] != "first")
        if kind == "not run":
            self.left_out.append(f"{page}:{line}: {value}")
            return None
        return {"run by": lambda: self.by_test(value, text, page), "in": lambda: self.in_files(value, text),
                "within": lambda: self.compiles(value, text, folder), "keys of": lambda: self.keys(value, text, folder)}[kind]()

    def page(self, name):
        text = (self.source / name).read_text()
        folder = self.work / name.replace("/", "_")
        folder.mkdir()
        parts = [(found.start(4), found[1], found[3].strip(), re.sub(f"^{found[2]}", "", found[4], flags=re.MULTILINE))
                 for found in BLOCK.finditer(text)]
        parts += [(found.start(2), found[1], "table", found[2]) for found in TABLE.finditer(text) if "keys of:" in found[1]]
        for start, comments, info, block in sorted(parts):
            line = text.count("\n", 0, start)
            problem = self.block(name, folder, line, info, block, MARK.findall(comments))
            if problem:
                yield f"{name}:{line}: the block {problem}"
        shown = sum(1 for line in text.splitlines() if line.strip().startswith("```"))
        if shown != 2 * sum(info != "table" for _, _, info, _ in parts):
            yield f"{name}: has a fence that this test does not take for a block"


def try_itself(work):
    """A block of each kind that is wrong must be found, and one that is right must not."""
    fence = "```"
    page = "\n".join([
        f"{fence}\n$ echo a b\na ...\n{fence}", f"{fence}\ntrue\n{fence}", f"{fence}\n$ echo a\nb\n{fence}", f"{fence}\nfalse\n{fence}",
        f"{fence}cpp\nint i;\n{fence}", f"<!-- in: a.txt -->\n{fence}\none\n\ntwo\n{fence}", f"<!-- in: a.txt -->\n{fence}\nthree\n{fence}",
        f"<!-- run by: a.txt -->\n\n{fence}\none 1\n{fence}", f"<!-- run by: a.txt -->\n{fence}\nsix\n{fence}",
        f"<!-- within: int main() {{ @@ }} -->\n{fence}cpp\nint i;\n{fence}", f"<!-- within: @@ -->\n{fence}cpp\nint i\n{fence}",
        f"<!-- not run: for a test -->\n{fence}\nfalse\n{fence}",
        "<!-- keys of: echo '{\"a\": [{\"b\": 1}]}' -->\n| `a`, `b` |\n", "<!-- keys of: echo '{\"a\": 1}' -->\n| `b` |\n"]) + "\n"
    source = work / "source"
    source.mkdir()
    (source / "a.txt").write_text("  one\n\ntwo\n")
    (source / "a.md").write_text(page)
    pages = Pages(source, source, work)
    found = list(pages.page("a.md"))
    wanted = ["prints:\na", "ends with 1", "neither how", "does not have:\nthree", "nor six", "does not compile", "names ['b']"]
    if len(found) != len(wanted) or not all(want in said for want, said in zip(wanted, found)) or len(pages.left_out) != 1:
        sys.exit(f"blocks_test: finds {found}, not {wanted}")


source, build = (pathlib.Path(path).resolve() for path in sys.argv[1:3])
listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard", "*.md"], cwd=source, check=True, capture_output=True,
                        text=True)
failures = []
with tempfile.TemporaryDirectory() as folder:
    try_itself(pathlib.Path(folder))
    pages = Pages(source, build, pathlib.Path(folder))
    for name in sys.argv[3:] or sorted(listed.stdout.split("\n")[:-1]):
        failures += pages.page(name)
for reason in pages.left_out:
    print(f"blocks_test: not run: {reason}")
for failure in failures:
    print(f"blocks_test: {failure}", file=sys.stderr)
sys.exit(1 if failures else 0)
