"""What every contract keeps, whatever was released: the options of tables, databases and payloads."""

import collections
import re

from contracts.near import nearest

PERSISTANCE, CDM = 50000, 50001  # the numbers of the options
GUN_BEGIN = "com.ovix.cdm.domain.telemetry.type.eventDetail.category."
GUN = re.compile(re.escape(GUN_BEGIN) + r"[a-z][A-Za-z0-9]*\.version\.([0-9]+)")
VERSION = re.compile(r"(0|[1-9][0-9]*)\.(0|[1-9][0-9]*)\.(0|[1-9][0-9]*)(-(alpha|beta)\.(0|[1-9][0-9]*))?")
CHANGE = [(1, "time", "string"), (2, "type", "string"), (3, "event", None), (4, "previous_state", "string"),
          (5, "current_state", "string")]
STATE_EVENT = "ovix.telemetry.contract.storage.StateEventType"
MARKERS = "ovix/telemetry/contract/storage/db.proto"


def is_change_log(table):
    fields = {field.name: "" if field.is_repeated else field.type for field in table.fields}
    return table.table.type == "Historical" and all(fields.get(name) == (kind or STATE_EVENT) for _, name, kind in CHANGE)


def change_log(state, tables):
    """The table of the changes of a State table, found by its name; nothing if there is none."""
    def long(name):
        return re.sub("^Hw", "Hardware", re.sub("^Fw", "Firmware", name))

    stems = {table.name.removesuffix("Events"): table for table in tables if table.name.endswith("Events") and is_change_log(table)
             and (table.name == state.name + "Events" or table.file.package == state.file.package)}
    found = [stem for stem in stems if state.name.startswith(stem) or long(state.name).startswith(stem)]
    return stems[state.name if state.name in stems else max(found, key=len)] if found else None


class Check:
    """Holds contracts against the conventions; of a release they may keep databases without a marker, and their guns."""

    def __init__(self, contracts, release=None):
        self.contracts = contracts
        released = release.messages.values() if release is not None else []
        self.released = {message.full_name for message in released}
        self.unmarked = unmarked_databases(released)
        self.released_guns = {message.full_name: message.cdm.gun for message in released if message.cdm is not None}
        messages = contracts.messages.values()
        self.tables = [message for message in messages if message.table is not None]
        self.markers = {message.name: message for message in messages if message.max_size_mb and not message.table}

    def run(self):
        for message in self.contracts.messages.values():
            yield from self.message(message)
        yield from self.databases()
        yield from self.guns()

    def message(self, message):
        if message.table is not None:
            yield from self.table(message)
        else:
            for field in message.key:
                yield field.finding("table-key", "is a key column of a message that is not a table",
                                    "remove (column).constraint.pk")
        yield from self.payload(message)

    def table(self, table):
        options, find = table.table, table.finding
        if table.file.is_upload and not table.name.endswith("AsCDM"):
            yield find("table-place", "is a table in an upload schema", "move it to storage/")
        if options.type not in ("State", "Historical"):
            yield find("table-type", f"the type of table '{options.type}' does not exist", 'set "State" or "Historical"',
                       table.line_of_option(PERSISTANCE, 1))
        if options.type == "State" and not table.key:
            yield find("table-key", "a State table has one row per key, and this one has no key",
                       "mark its columns with [(column).constraint.pk = true]")
        time = table.field("time")
        if time is None or not time.is_text or time.is_repeated or time.proto.number > 2 or time.proto.proto3_optional:
            yield (time or table).finding("table-time", "every table has a string that says when: string time = 1, or = 2 after a key",
                                          "declare it so, without optional")
        event = next((field for field in table.fields if field.type == STATE_EVENT), None)
        if event is not None:
            shape = [(field.proto.number, field.name, field.type) for field in table.fields]
            wanted = [(number, name, kind or STATE_EVENT) for number, name, kind in CHANGE]
            plain = not any(field.is_repeated or field.proto.proto3_optional for field in table.fields)
            if shape != wanted or not plain or options.type != "Historical" or table.key:
                yield event.finding("change-log", "a change log is Historical, has no key and exactly the fields string time = 1, "
                                    "string type = 2, StateEventType event = 3, string previous_state = 4, "
                                    "string current_state = 5", "declare it so", table.line)

    def databases(self):
        tables = {}
        for table in sorted(self.tables, key=lambda table: table.full_name not in self.released):
            tables.setdefault(claim(table), table)
        used = {table.table.database.name for table in self.tables}
        for table in self.tables:
            name = table.table.database.name
            line = table.line_of_option(PERSISTANCE, 2)
            if not name:
                yield table.finding("table-database", "does not name its database", "set (persistance).database.name", line)
            elif name not in self.markers and name not in self.unmarked:
                near = nearest(name, [*self.markers, *self.unmarked])
                yield table.finding(
                    "table-database", f"database '{name}' has no marker in {MARKERS}",
                    (f"did you mean '{near}'? Otherwise add" if near else "add") + " a marker with its size limit there", line)
            if table.table.database.max_size_mb:
                yield table.finding("database-size", "a record sets the size of its database",
                                    f"set it in the marker in {MARKERS}", line)
            if tables[claim(table)] is not table:
                other = tables[claim(table)].full_name
                yield table.finding("table-name", f"database '{name}' has a table of this name, {other}", "rename the message")
            own = claim(table)[1]
            if own == "_store" or own.startswith("sqlite_"):
                yield table.finding("table-name", f"'{table.table.table.name or table.name}' is the name of a table of SQLite or the "
                                    "store", "give it another name", table.line_of_option(PERSISTANCE, 3))
        for name, marker in self.markers.items():
            if marker.file.name != MARKERS:
                yield marker.finding("database-marker", "is a marker of a database", f"move it to {MARKERS}")
            elif name not in used:
                yield marker.finding("database-marker", "marks a database of no table", "remove it, or correct its name")

    def payload(self, message):
        cdm, find = message.cdm, message.finding
        is_payload = message.name.endswith("AsCDM") and message.parent is None
        if not is_payload:
            if cdm is not None and not message.file.extensions:
                yield find("payload-name", "has a gun or version, but is not a message of its file whose name ends in AsCDM",
                           "rename it before its first release, or remove (cdm)", message.line_of_option(CDM))
            return
        gun, version = (cdm.gun, cdm.version) if cdm is not None else ("", "")
        if not message.file.is_upload:
            yield find("payload-place", "is a payload outside of upload/", "move it there")
        missing = [name for name, value in (("gun", gun), ("version", version)) if not value]
        if missing:
            yield find("payload-options", "a message named ...AsCDM is a payload and has gun and version",
                       "set " + " and ".join(f"(cdm).{name}" for name in missing))
        if gun and not GUN.fullmatch(gun):
            yield find("payload-gun", f"'{gun}' is not the name of a payload",
                       f"write {GUN_BEGIN}CATEGORY.version.MAJOR, the category in lowerCamelCase", message.line_of_option(CDM, 1))
        elif version and not VERSION.fullmatch(version):
            yield find("payload-version", f"'{version}' is not the version of a payload",
                       "write three numbers, or these and -alpha.N or -beta.N", message.line_of_option(CDM, 2))
        elif gun and version and GUN.fullmatch(gun)[1] != VERSION.fullmatch(version)[1]:
            yield find("payload-gun", f"gun {gun} and version {version} do not fit",
                       f"end the gun in .version.{VERSION.fullmatch(version)[1]}", message.line_of_option(CDM, 1))
        if message.table is not None:
            yield find("payload-table", "a payload is not a table", "remove (persistance)", message.line_of_option(PERSISTANCE))
        first = next((field for field in message.fields if field.proto.number == 1), None)
        if first is None or (first.name, first.type) != ("version", "string") or first.is_repeated or first.proto.proto3_optional:
            yield (first or message).finding("payload-envelope", "every payload begins with string version = 1, without optional",
                                             "declare it so")

    def guns(self):
        payloads = collections.defaultdict(list)
        for message in self.contracts.messages.values():
            if message.cdm is not None and message.cdm.gun:
                payloads[message.cdm.gun].append(message)
        for gun, messages in payloads.items():
            messages.sort(key=lambda message: self.released_guns.get(message.full_name) != gun)
            for message in messages[1:]:
                yield message.finding("payload-gun", f"gun {gun} is that of {messages[0].full_name} too",
                                      "give one of them a category of its own", message.line_of_option(CDM, 1))


def claim(table):
    """The database and the name of a table, which SQLite and the files of Windows compare without regard to case."""
    return table.table.database.name.lower(), (table.table.table.name or table.name).lower()


def unmarked_databases(messages):
    """The databases that tables name and that no marker limits."""
    markers = {message.name for message in messages if message.max_size_mb and not message.table}
    return {message.table.database.name for message in messages if message.table is not None} - markers
