#!/usr/bin/python3
"""Holds the language of pages, comments and messages: words with a plainer common term, and spelling (codespell).

In a page the prose counts, in code and schemas the comments and the strings of several words. Each file of a
path may keep what ALLOWED says; the numbers may only go down.

Usage: words_test.py SOURCE_DIR
"""

import pathlib
import re
import subprocess
import sys

# What is found, and what to write instead.
WORDS = [(re.compile(rf"\b(?:{words})\b", re.IGNORECASE), instead) for words, instead in (
    ("for ever", "permanent, always"),
    ("mend(?:s|ed|ing)?", "fix"),
    ("tell(?:s|ing)?|told", "report, document, distinguish"),
    ("stands?|stood|standing", "exist, be stored, appear"),
    ("pass(?:es|ed|ing)? over", "skip"),
    ("by (?:itself|themselves)", "automatically, alone"),
    ("besides?", "next to, with, in addition to"),
    ("behind", "after"),
    ("aside", "to a temporary file; rename"),
    ("(?:a|empty) text|texts", "a string, strings"),
    ("(?<!there )(?:is|are|was) no(?! (?:longer|more))", "is not a"),
    ("whoever", "a program that, a user who"),
    ("agent in small", "example agent"),
    ("the walk|walks|walked", "the iteration, iterating the contracts"),
    ("stock", "baseline, default"),
    ("strangers?", "untrusted input, other programs"),
    ("spoil(?:s|t|ing|ed)?", "damage"),
    ("anew", "again, a new one"),
)]
# The system's own names and spellings, and words of other languages and of code.
SPELLED = ("persistance", "hastable", "addin", "sting", "nore", "caf", "tru", "fro")
ALLOWED = {
    "tool/catalogue/parts/texts.cc": 1,
}
# Frozen releases, lists of packages, and what defines the words.
LEFT_OUT = re.compile(r"^compat/|^package-lock\.json$|\.(?:svg|sum|lock|sha256)$|^tests/configuration/words_test\.py$")
CODE = re.compile(r'"""(.*?)"""|"((?:[^"\\\n]|\\.)* (?:[^"\\\n]|\\.)*)"|(?<![:\'"\w])(?://|#)( [^\n]*)|/\*(.*?)\*/', re.DOTALL | re.MULTILINE)


def prose(name, text):
    """The text with everything blanked that is not language; lines keep their numbers."""
    if name.endswith(".md"):
        text = re.sub(r"^ *```.*?^ *```$|<!--.*?-->|`[^`\n]*`", lambda code: "\n" * code[0].count("\n"), text, flags=re.DOTALL | re.MULTILINE)
        return re.sub(r"(?<=\w) (?:is|are) no(?= `)", "", text)
    if name.endswith(".toml"):  # the code of planted faults is not ours to judge
        text = re.sub(r"^(?:old|new|name|file) = (?:'''.*?'''|.*?$)", lambda code: "\n" * code[0].count("\n"), text, flags=re.DOTALL | re.MULTILINE)
    text = re.sub(r"`[^`\n]*`|\$\{?\w+", "", text)  # names in comments, variables in strings of the shell
    kept, end = [], 0
    for found in CODE.finditer(text):
        kept += ["\n" * text.count("\n", end, found.start()), found[0] if any(found.groups()) else ""]
        end = found.end()
    return "".join(kept)


def findings(name, text):
    language = prose(name, text)
    for word, instead in WORDS:
        for found in word.finditer(language):
            line = language.count("\n", 0, found.start()) + 1
            yield f"{name}:{line}: '{found[0]}'; write {instead}"


def misspelt(root, names):
    codespell = root / "build" / "test" / "python" / "bin" / "codespell"
    if not codespell.exists():
        return [f"{codespell} was not found; run scripts/setup test, which installs it"]
    done = subprocess.run([codespell, "--ignore-words-list", ",".join(SPELLED), *names], cwd=root, check=False, capture_output=True,
                          text=True)
    if done.returncode and not done.stdout:
        return [f"codespell does not run: {done.stderr.strip()}"]
    return done.stdout.splitlines()


def try_itself():
    """What is language is found, and nothing else."""
    cases = [("a.md", "We stand. `stand` told\n```\ntold\n```\nStands.\n", [1, 1, 5]), ("a.cc", 'int stand; // it stands\nf("told");\nf("is told");\n', [1, 3]),
             ("a.py", '"""One.\n\nIs told."""\ntold = 1  # there is no more; is no good\n', [3, 4]), ("a.toml", "old = 'told'\nwhy = \"is told\"\n", [2])]
    for name, text, lines in cases:
        found = sorted(int(finding.split(":")[1]) for finding in findings(name, text))
        if found != lines:
            sys.exit(f"words_test: finds in {name} {found}, not {lines}")


root = pathlib.Path(sys.argv[1]).resolve()
try_itself()
listed = subprocess.run(["git", "ls-files", "-co", "--exclude-standard"], cwd=root, check=True, capture_output=True, text=True)
names = [name for name in listed.stdout.splitlines() if (root / name).is_file() and not LEFT_OUT.search(name)]
failures = misspelt(root, names)
for name in names:
    try:
        found = list(findings(name, (root / name).read_text(encoding="utf-8")))
    except UnicodeDecodeError:
        continue  # not text
    if len(found) > max((count for path, count in ALLOWED.items() if name.startswith(path)), default=0):
        failures += found
for failure in failures:
    print(f"words_test: {failure}", file=sys.stderr)
sys.exit(1 if failures else 0)
