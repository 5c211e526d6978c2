"""The text of a new schema: a record, or a payload."""

import os
import re

from contracts.conventions import GUN, GUN_BEGIN, unmarked_databases
from contracts.lineage import type_words
from contracts.near import nearest

ROOT = "ovix/telemetry/contract"
WIDTH = 100


class Refused(Exception):
    """What was asked for cannot be; says the input, what is wrong with it, and the fix."""


def snake(name):
    """A message's name as that of a file: PcFanLogAsCDM is pc_fan_log_as_cdm."""
    return re.sub(r"(?<=[a-z0-9])(?=[A-Z])|(?<=[A-Z])(?=[A-Z][a-z])", "_", name).lower()


def near(name, known):
    found = nearest(name, known)
    return f"did you mean {found}?" if found else ""


def comment(text, indent=""):
    """A comment in lines of a length that people read."""
    lines = []
    for paragraph in text.split("\n"):
        line = f"{indent}//"
        for word in paragraph.split():
            if len(line) + len(word) >= WIDTH and line != f"{indent}//":
                lines.append(line)
                line = f"{indent}//"
            line += " " + word
        lines.append(line)
    return "".join(line + "\n" for line in lines)


def place(root, contracts, side, folder, name):
    """Path and package of a new schema."""
    base = os.path.join(root, ROOT, side)
    path = os.path.normpath(os.path.join(base, folder))
    inside = os.path.relpath(path, base).replace(os.sep, "/")
    if inside.startswith("..") or not os.path.isdir(path):
        known = sorted(os.path.relpath(each, base).replace(os.sep, "/") for each, _, _ in os.walk(base))
        hint = near(folder, known) or f"name one of {', '.join(known)}"
        raise Refused(f"--folder {folder}: {ROOT}/{side}/ has no such folder; {hint}")
    inside = "" if inside == "." else inside
    package = ".".join([*ROOT.split("/"), side, *inside.split("/")]) if inside else f"{ROOT.replace('/', '.')}.{side}"
    schema = "/".join(filter(None, (ROOT, side, inside, snake(name) + ".proto")))
    taken = contracts.messages.get(f"{package}.{name}")
    # Names that differ in case only are one file on Windows.
    same = next((each for each in contracts.by_name if each.lower() == schema.lower()), schema)
    if taken is not None or os.path.exists(os.path.join(root, same)):
        raise Refused(f"{name}: the name is taken by {taken.file.name if taken else same}; choose another")
    return schema, package


def head(package, option):
    return f'syntax = "proto3";\n\npackage {package};\n\nimport "{ROOT}/{option}";\n\n'


def check_name(name, is_payload):
    if re.fullmatch(r"con|prn|aux|nul|com\d|lpt\d", snake(name)):
        raise Refused(f"{name}: Windows can have no file {snake(name)}.proto; choose another")
    form = r"[A-Z][A-Za-z0-9]*AsCDM" if is_payload else r"(?!.*AsCDM$)[A-Z][A-Za-z0-9]*"
    if not re.fullmatch(form, name):
        wanted = "PcFanLogAsCDM: letters and digits in UpperCamelCase, AsCDM at the end" if is_payload else (
            "FanLog: letters and digits in UpperCamelCase, without AsCDM at the end")
        raise Refused(f"{name}: is not the name of a {'payload' if is_payload else 'record'}; write one like {wanted}")


def check_about(text):
    if " " not in text or not text.endswith("."):
        raise Refused(f"--about '{text}': is not a sentence; say what it is, with a full stop")


def record(root, contracts, name, folder, database, kind, keys, max_days, max_rows, about):
    """Path and text of a record's schema."""
    check_name(name, False)
    check_about(about)
    schema, package = place(root, contracts, "storage", folder, name)
    messages = contracts.messages.values()
    tables = [message for message in messages if message.table is not None]
    markers = {message.name for message in messages if message.max_size_mb and message.table is None}
    if database not in markers | unmarked_databases(messages):
        hint = near(database, markers) or "add a marker with its size limit to storage/db.proto first"
        raise Refused(f"--database {database}: there is no such database; {hint}")
    if any((table.table.database.name, table.name) == (database, name) for table in tables):
        raise Refused(f"{name}: database {database} has a table of this name; choose another")
    if kind == "State" and not keys:
        raise Refused("--type State: such a table has a key; name its columns by --key")
    if kind != "State" and keys:
        raise Refused("--key: only a table of --type State has one; leave it out")
    for key in keys:
        if not re.fullmatch(r"[a-z][a-z0-9]*(_[a-z0-9]+)*", key) or key == "time" or keys.count(key) > 1:
            raise Refused(f"--key {key}: is not the name of a column; write each once, in lower_snake_case, without time")
    for option, limit in (("--max-days", max_days), ("--max-rows", max_rows)):
        if limit is not None and not 0 < limit < 2**32:
            raise Refused(f"{option} {limit}: is not a limit; write a number from 1 to 4294967295")
    if kind == "Historical" and max_days is None and max_rows is None:
        max_days = 180
    options = [f'type = "{kind}"', f'database.name = "{database}"']
    options += [f"table.max_rows = {max_rows}"] if max_rows else []
    options += [f"table.max_time_days = {max_days}"] if max_days else []
    lines = "".join(f"  option (persistance).{option};\n" for option in options)
    fields = "  string time = 1;\n"
    for number, key in enumerate(keys, 2):
        fields += f"  string {key} = {number} [(column).constraint.pk = true];\n"
    return schema, (head(package, "storage/storage_options.proto") + comment(about)
                    + f"message {name} {{\n{lines}\n{fields}}}\n")


def find_record(contracts, name):
    tables = [message for message in contracts.messages.values() if message.table is not None]
    found = [table for table in tables if name in (table.name, table.full_name)]
    if len(found) > 1:
        raise Refused(f"--record {name}: is the name of {' and '.join(table.full_name for table in found)}; write it whole")
    if not found:
        hint = near(name, [table.name for table in tables]) or "name a message with the option persistance"
        raise Refused(f"--record {name}: is not a record; {hint}")
    return found[0]


def copied_fields(contracts, holder, number, taken):
    """The fields of a record or part as a payload carries them, all but a record's time; parts become nested messages."""
    for field in holder.fields:
        if field.name == "time" and holder.table is not None:
            continue
        name, kind = field.name, field.type
        facts = [f"{fact.key}: {fact.value}" for fact in field.comment.facts]
        is_enum, changes = field.type_name in contracts.enums, []
        if name in taken:  # the envelope's
            name = f"{snake(holder.name)}_{name}"
            changes.append("renamed")
        if is_enum:
            kind = "string"
            changes.append(f"retyped from {type_words(field)} to {'repeated ' if field.is_repeated else ''}string")
        if changes:
            facts.append(f"Source: {field.name}, {' and '.join(changes)}{': the name of its value' if is_enum else ''}.")
        if part := contracts.messages.get(field.type_name):
            kind = part.name
            if kind not in taken:
                taken = {*taken, kind}
                yield (comment(f"{part.comment.text}\n\nSource: {part.full_name}") + f"message {kind} {{\n"
                       + "".join(copied_fields(contracts, part, 1, {kind})) + "}\n")
        text = "\n".join(filter(None, [field.comment.text, *facts]))
        yield (comment(text) if text else "") + f"{'repeated' if field.is_repeated else 'optional'} {kind} {name} = {number};\n"
        number += 1


def payload(root, contracts, name, folder, record_name, gun, about):
    """Path and text of a payload's schema."""
    check_name(name, True)
    check_about(about)
    schema, package = place(root, contracts, "upload", folder, name)
    table = find_record(contracts, record_name) if record_name else None
    short = name.removesuffix("AsCDM")
    gun = gun or f"{GUN_BEGIN}{short[0].lower()}{short[1:]}.version.1"
    form = GUN.fullmatch(gun)
    if form is None:
        raise Refused(f"--gun {gun}: is not the name of a payload; write {GUN_BEGIN}CATEGORY.version.MAJOR, the category in "
                      "lowerCamelCase")
    taken = next((message for message in contracts.messages.values() if message.cdm is not None and message.cdm.gun == gun), None)
    if taken is not None:
        raise Refused(f"{gun}: is the gun of {taken.full_name}; give another by --gun")
    source = f"// Source: {table.full_name if table else 'none'}\n"
    fields = "".join(copied_fields(contracts, table, 2, {"version"})) if table else ""
    return schema, (
        head(package, "upload/upload_options.proto") + comment(about) + "//\n" + source + f"message {name} {{\n"
        f'  option (cdm).gun = "{gun}";\n  option (cdm).version = "{form[1]}.0.0";\n\n'
        "  // Version of this contract.\n  // Format: semantic version\n"
        + ("  // Source: none, set by the uploader.\n" if table else "") + f"  string version = 1;\n{fields}}}\n")
