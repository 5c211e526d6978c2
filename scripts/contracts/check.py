"""The whole check of a tree, and what it can fix."""

import glob
import os
import subprocess

from contracts import comments, conventions, example, facts, frame, gate, schemas
from contracts.finding import Finding

HOME = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
# Its own program where npm has put it: the script that starts it takes longer than it does.
BUF = next(iter(glob.glob(os.path.join(HOME, "node_modules", "@bufbuild", "buf-*", "bin", "buf"))),
           os.path.join(HOME, "node_modules", ".bin", "buf"))


def run_buf(root, *arguments):
    """buf's findings: file, line and what it says."""
    done = schemas.run([BUF, *arguments], cwd=root)
    if done.returncode not in (0, 100):
        raise OSError(f"buf {arguments[0]} failed: {(done.stderr or done.stdout).strip()}")
    for line in dict.fromkeys(done.stdout.splitlines()):
        file, number, _, what = line.split(":", 3)
        yield file, int(number), what.rstrip(".")


def vocabulary():
    try:
        return facts.vocabulary(os.path.join(HOME, "docs", "contracts.md"))
    except (ValueError, TypeError) as error:
        raise OSError(f"docs/contracts.md is not as the check reads it: {error}; undo what changed its headings and tables") from error


def misplaced(names):
    return [Finding(name, 1, "place", "is neither a schema of storage/ nor of upload/", f"move it under {frame.SIDES[0]} or {frame.SIDES[1]}")
            for name in names if not name.startswith(frame.SIDES)]


def find(root):
    """The findings in a tree, in the order of their places, and the release that it was held against."""
    names = sorted(schemas.on_disk(root))
    if not names:
        raise OSError(f"{root} has no schema under ovix/; name a folder that has")
    contracts = schemas.Contracts(schemas.compile_schemas(root, names))
    words = vocabulary()
    release = gate.newest(os.path.join(root, "compat"))
    older, found = None, []
    if release is not None:
        frozen = os.path.join(root, "compat", release)
        older = schemas.read(os.path.join(frozen, "contracts.binpb"))
        found += gate.Gate(older, contracts, words).run()
        # What no rule above knows. buf says the rest in its own words.
        known = {finding.file for finding in found}
        for file, line, what in run_buf(root, "breaking", "--exclude-imports", "--against", os.path.join(frozen, "contracts.binpb")):
            if file not in known and not (known and file == "<input>"):
                found.append(Finding(file, line, "breaking", what, gate.NEVER))
        released = frame.listed(os.path.join(frozen, "contracts.cmake"))
        if out_of_order := gate.kept_order(released, frame.in_order(names)):
            found.append(Finding("scripts/contracts/frame.py", 1, "list",
                                         f"puts {out_of_order} in another place than release {release}", "keep its order"))
    # What is refused of a release is not refused once more for a convention.
    said = {(finding.file, finding.rule, finding.what.partition(":")[0]) for finding in found}
    for finding in [*conventions.Check(contracts, older).run(), *comments.Check(contracts, words).run()]:
        if (finding.file, finding.rule, finding.what.partition(":")[0]) not in said:
            found.append(finding)
    found += frame.check(root, contracts, words)
    found += misplaced(names)
    found += frame.check_format(root, BUF, names)
    found += example.check(root, contracts)
    moved = any(finding.rule == "package" for finding in found)
    for file, line, what in run_buf(root, "lint"):
        if moved and "package" in what or not file.startswith(frame.SIDES):
            continue
        found.append(Finding(file, line, "lint", what, "correct it; the exceptions of buf.yaml are for what was released before"))
    return sorted(set(found)), release


def fix(root):
    """Writes what follows from the schemas, and formats them; returns the names of what has changed."""
    names = sorted(schemas.on_disk(root))
    contracts = schemas.Contracts(schemas.compile_schemas(root, names))
    texts = {name: right for name, text, right in frame.wanted(root, contracts, vocabulary())
             if text != right and isinstance(right, str)}
    texts.update((schema, right) for schema, _, right in frame.formatted(root, BUF, names))
    frame.write(root, texts)
    return list(texts)
