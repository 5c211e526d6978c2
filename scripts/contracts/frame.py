"""What follows from the schemas and is written down all the same: the build's list, the includes and classes of the
collection, and the counts that pages give. Each is compared, and written on request."""

import contextlib
import os
import re
import shutil
import tempfile

from contracts import interrupt
from contracts import schemas as schemas_of
from contracts.facts import facts_of
from contracts.finding import Finding

LIST = "library/contracts.cmake"
COLLECTION = "library/src/contracts_collection.cc"
UPLOADER = "examples/agent/uploader/payloads.cc"
FILES = (LIST, COLLECTION, UPLOADER, "README.md", "docs/contracts.md", "docs/payloads.md", "docs/privacy.md")
SIDES = ("ovix/telemetry/contract/storage/", "ovix/telemetry/contract/upload/")
FIX = "run scripts/check-contracts --fix"


def order(schema):
    """The place of a schema in the collection: paths without regard to case, "_" after every letter, digit, "/" and ".".
    The folder upload/vorlan/ is where the first release has it, between upload/log/ and upload/peripherals/."""
    return schema.replace("upload/vorlan/", "upload/log~/").lower().replace("_", "~")


def in_order(schemas):
    return sorted(schemas, key=lambda schema: (order(schema), schema))


def listed(path):
    """The schemas in the order of a build's list."""
    with open(path, encoding="utf-8") as file:
        return re.findall(r"^  (ovix/\S+\.proto)$", file.read(), re.MULTILINE)


class Absent(Exception):
    """The place that a file has for what follows from the schemas is not there; says which."""


def _put(what, pattern, replacement, text):
    text, count = re.subn(pattern, replacement, text, flags=re.M | re.S)
    if not count:
        raise Absent(what)
    return text


def _list(text, schemas):
    lines = "".join(f"  {schema}\n" for schema in schemas)
    return _put("set(OVIX_CONTRACTS ...)", r"^set\(OVIX_CONTRACTS\n.*?^\)", f"set(OVIX_CONTRACTS\n{lines})", text)


def _cpp_namespace(package):
    inner = package.removeprefix("ovix.telemetry.contract.")
    return ("" if inner != package else "::") + inner.replace(".", "::")


def _collection(text, schemas, contracts):
    schemas = [schema for schema in schemas if contracts.by_name[schema].messages]
    includes = sorted(f'#include "{schema.removesuffix(".proto")}.pb.h"\n' for schema in schemas)
    text = _put("includes of generated headers", r'(?:^#include "ovix/\S+\.pb\.h"\n)+', lambda _: "".join(includes), text)
    classes = []
    for schema in schemas:
        file = contracts.by_name[schema]
        classes.append(f"    // {schema.removeprefix('ovix/telemetry/contract/')}\n")
        names = sorted(message.class_name for message in file.walk())
        classes += [f"    Prototype<{_cpp_namespace(file.package)}::{name}>(),\n" for name in names]
    return _put("_collection = {...}", r"(_collection = \{\n).*?(^\};)",
                lambda found: found[1] + "".join(classes) + found[2], text)


def _counts(text, counts):
    """Puts the counts where a page says "108 proto3 schemas with 324 messages" and the like, over a line's end too."""
    for words, number in counts.items():
        pattern = r"\b\d+(\s+)(" + words.replace(" ", r"\s+") + r")"
        text = _put(f"number of '{words}'", pattern, lambda found, number=number: f"{number}{found[1]}{found[2]}", text)
    return text


def _tables(contracts):
    return sum(message.table is not None for message in contracts.messages.values())


def _payloads(contracts):
    payloads = [message for message in contracts.messages.values() if message.cdm is not None and message.cdm.gun]
    return sorted(payloads, key=lambda message: (message.name, message.full_name))


def _privacy(text, contracts, words):
    """The table of personal data, as `ovix-contracts privacy --payloads --format markdown` prints it."""
    def personal(message, prefix, around):
        for field in message.fields:
            if privacy := facts_of(field, words).privacy:
                yield privacy, f"`{prefix}{field.name}`"
            part = contracts.messages.get(field.type_name)
            if part is not None and part not in around:
                yield from personal(part, f"{prefix}{field.name}.", [*around, part])

    rows = []
    for payload in _payloads(contracts):
        found = list(personal(payload, "", [payload]))
        rows += [] if found else [f"| `{payload.name}` | none | |\n"]
        for each in words.classes:
            if paths := [path for privacy, path in found if privacy == each]:
                rows.append(f"| `{payload.name}` | {each} | {', '.join(paths)} |\n")
    return _put("table 'Contract | Class | Fields'", r"(\| Contract \| Class \| Fields \|\n\|---\|---\|---\|\n)(?:\|[^\n]*\n)*",
                lambda found: found[1] + "".join(rows), text)


def sent(root):
    """The payloads in the table of the example's uploader; None without it."""
    path = os.path.join(root, UPLOADER)
    if not os.path.exists(path):
        return None
    with open(path, encoding="utf-8") as file:
        return set(re.findall(r"\{[\w:]*\b(\w+)::descriptor,", file.read()))


def _built(text, contracts, sent):
    """The table of payloads: whether the example builds each, and from what. What a line says of the records stays."""
    lines = {name: (built, source) for name, built, source in re.findall(r"^\| `(\w+)` \| (yes|no) \|(.*)\|\n", text, re.MULTILINE)}
    rows = {"yes": [], "no": []}
    for payload in sorted(_payloads(contracts), key=lambda payload: payload.name.lower()):
        was, source = lines.get(payload.name, ("no", " "))
        built = was if sent is None else "yes" if payload.name in sent else "no"
        if built == "no":
            source = " "
        elif was == "no":
            records = [contracts.messages[name] for name, _ in payload.comment.sources if name in contracts.messages]
            source = " " + ", ".join(f"`{record.name}`" for record in records) + " "
        rows[built].append(f"| `{payload.name}` | {built} |{source}|\n")
    text = _put("table 'Payload | Built | From'", r"(\| Payload \| Built \| From \|\n\|---\|---\|---\|\n)(?:\|[^\n]*\n)*",
                lambda found: found[1] + "".join(rows["yes"] + rows["no"]), text)
    return _counts(text, {"messages have the option `cdm`": len(_payloads(contracts)),
                          "of them, those that": len(rows["yes"])})


def wanted(root, contracts, words):
    """Of each file that follows from the schemas: its text as it is, and as it should be; Absent if it has no place
    for it. A tree need not have the pages and the README."""
    schemas = in_order(contracts.by_name)
    makers = {
        LIST: lambda text: _list(text, schemas),
        COLLECTION: lambda text: _collection(text, schemas, contracts),
        "README.md": lambda text: _counts(
            text, {"proto3 schemas": len(schemas), "messages; the library": len(contracts.messages)}),
        "docs/contracts.md": lambda text: _counts(text, {"records are tables": _tables(contracts)}),
        "docs/payloads.md": lambda text: _built(text, contracts, sent(root)),
        "docs/privacy.md": lambda text: _privacy(text, contracts, words),
    }
    for name, make in makers.items():
        path = os.path.join(root, name)
        if name not in (LIST, COLLECTION) and not os.path.exists(path):
            continue
        with open(path, encoding="utf-8") as file:
            text = file.read()
        try:
            yield name, text, make(text)
        except Absent as absent:
            yield name, text, absent


def check(root, contracts, words):
    for name, text, right in wanted(root, contracts, words):
        if text == right:
            continue
        if isinstance(right, Absent):
            yield Finding(name, 1, "list", f"has no {right}, which follows from the schemas", "bring it back")
            continue
        old, new = text.splitlines(), right.splitlines()
        place = next((i for i, (a, b) in enumerate(zip(old, new)) if a != b), min(len(old), len(new)))
        is_line = old[place].strip() if place < len(old) else "nothing"
        should_be = new[place].strip() if place < len(new) else "nothing"
        yield Finding(name, place + 1, "list", f"has '{is_line}' where the schemas give '{should_be}'", FIX)


def write(root, texts):
    """Writes files, {name: text}, all of them or none: each is whole before the first has its name."""
    temporaries = {}
    try:
        for name, text in texts.items():
            path = os.path.join(root, name)
            temporary = os.path.join(os.path.dirname(path), f".{os.path.basename(path)}.{os.getpid()}.new")
            with open(temporary, "x", encoding="utf-8", newline="\n") as file:
                temporaries[path] = temporary
                file.write(text)
            if os.path.exists(path):
                shutil.copymode(path, temporary)
        with interrupt.held_off():
            for path in list(temporaries):
                os.replace(temporaries.pop(path), path)
    finally:
        for temporary in temporaries.values():
            with contextlib.suppress(FileNotFoundError):
                os.unlink(temporary)


def formatted(root, buf, schemas):
    """Of each schema that buf would format otherwise: its text, and the formatted one. buf sorts imports; their order
    is part of a contract and stays."""
    def imports(text):
        return re.findall(r'^import .*?;', text, re.MULTILINE)

    with tempfile.TemporaryDirectory() as folder:
        for schema in schemas:
            os.makedirs(os.path.join(folder, os.path.dirname(schema)), exist_ok=True)
            shutil.copy(os.path.join(root, schema), os.path.join(folder, schema))
        done = schemas_of.run([buf, "format", "-w", folder])
        if done.returncode:
            raise OSError(f"buf format failed: {done.stderr.strip()}")
        for schema in schemas:
            with open(os.path.join(root, schema), encoding="utf-8", newline="") as file:
                text = file.read()
            with open(os.path.join(folder, schema), encoding="utf-8", newline="") as file:
                right = file.read()
            sources = iter(imports(text))
            if sorted(imports(text)) == sorted(imports(right)):
                right = re.sub(r"^import .*?;", lambda _: next(sources), right, flags=re.MULTILINE)
            if text != right:
                yield schema, text, right


def check_format(root, buf, schemas):
    for schema, text, right in formatted(root, buf, schemas):
        pairs = enumerate(zip([*text.splitlines(), ""], [*right.splitlines(), ""]), 1)
        line = next((number for number, (a, b) in pairs if a != b), 1)
        yield Finding(schema, line, "format", "is not as buf format writes it", FIX)
