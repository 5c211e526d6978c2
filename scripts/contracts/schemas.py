"""The schemas as protoc reads them: messages, fields and enumerations with options, comments and lines."""

import functools
import glob
import os
import re
import subprocess
import tempfile

from google.protobuf import descriptor_pb2, descriptor_pool, message_factory
from google.protobuf.message import DecodeError

from contracts.facts import Comment, parse
from contracts.finding import Finding

FieldProto = descriptor_pb2.FieldDescriptorProto
SYNTAX = (12,)  # the path of a file's line `syntax`
NUMBERS = {
    getattr(FieldProto, "TYPE_" + name)
    for name in "INT32 INT64 UINT32 UINT64 SINT32 SINT64 FIXED32 FIXED64 SFIXED32 SFIXED64 FLOAT DOUBLE".split()
}


class Broken(Exception):
    """The schemas do not compile; holds the findings."""

    def __init__(self, findings):
        super().__init__(f"{len(findings)} errors of protoc")
        self.findings = findings


class Element:
    """A message, field, enumeration, value or extension: its descriptor and where it is declared."""

    def __init__(self, file, proto, path, parent=None, prefix=""):
        self.file, self.proto, self.path, self.parent = file, proto, path, parent
        self.name = proto.name
        self.full_name = f"{prefix}.{proto.name}"

    @property
    def line(self):
        return self.file.place(self.path)[0]

    @functools.cached_property
    def comment(self) -> Comment:
        return parse(self.file.place(self.path)[1])

    @property
    def comment_line(self):
        """The first line of the comment; the declaration's own if there is none."""
        line, text = self.file.place(self.path)
        return line - text.count("\n")

    def line_of_fact(self, key):
        """The line of the first fact with this key; that of the comment if it has none."""
        return self.comment_line + next((fact.line for fact in self.comment.of(key)), 0)

    @property
    def other_comments(self):
        """The comments after it and, detached by empty lines, before it."""
        return self.file.other_comments.get(tuple(self.path), [])

    @functools.cached_property
    def options(self):
        """The options that are set, by name; those of the contracts are messages."""
        return {field.name: value for field, value in self.proto.options.ListFields()}

    def finding(self, rule, what, fix, line=None):
        return Finding(self.file.name, line or self.line, rule, f"{self.full_name}: {what}", fix)


class Field(Element):
    @property
    def is_repeated(self):
        return self.proto.label == FieldProto.LABEL_REPEATED

    @property
    def is_text(self):
        return self.proto.type == FieldProto.TYPE_STRING

    @property
    def is_number(self):
        return self.proto.type in NUMBERS

    @property
    def type_name(self):
        """The full name of its message or enumeration; empty for other types."""
        return self.proto.type_name.lstrip(".")

    @property
    def type(self):
        """The type as a string: "uint32", or the full name of a message or enumeration."""
        return self.type_name or FieldProto.Type.Name(self.proto.type)[len("TYPE_"):].lower()

    @property
    def oneof(self):
        """The name of the oneof that it is in, if any; that of an optional field is none."""
        if self.proto.proto3_optional or not self.proto.HasField("oneof_index") or self.parent is None:
            return ""
        return self.parent.proto.oneof_decl[self.proto.oneof_index].name

    @property
    def is_key(self):
        column = self.options.get("column")
        return column is not None and column.constraint.pk

    def same_type(self, other):
        return (self.type, self.is_repeated) == (other.type, other.is_repeated)


class Enumeration(Element):
    def __init__(self, *arguments, **more):
        super().__init__(*arguments, **more)
        scope = self.full_name.rpartition(".")[0]
        self.values = [
            Element(self.file, value, (*self.path, 2, i), self, scope) for i, value in enumerate(self.proto.value)
        ]


class Message(Element):
    def __init__(self, *arguments, **more):
        super().__init__(*arguments, **more)
        self.class_name = f"{self.parent.class_name}_{self.name}" if self.parent else self.name
        self.fields = [
            Field(self.file, field, (*self.path, 2, i), self, self.full_name) for i, field in enumerate(self.proto.field)
        ]
        nested = [
            Message(self.file, inner, (*self.path, 3, i), self, self.full_name) for i, inner in enumerate(self.proto.nested_type)
        ]
        self.messages = [inner for inner in nested if not inner.proto.options.map_entry]
        self.entries = [inner for inner in nested if inner.proto.options.map_entry]  # of maps: a key and a value
        self.enums = [
            Enumeration(self.file, inner, (*self.path, 4, i), self, self.full_name)
            for i, inner in enumerate(self.proto.enum_type)
        ]

    @property
    def table(self):
        """The option `persistance` of a table; nothing for other messages."""
        option = self.options.get("persistance")
        return option if option is not None and option.type else None

    @property
    def max_size_mb(self):
        """The size limit that a marker gives its database; 0 for other messages."""
        option = self.options.get("persistance")
        return option.database.max_size_mb if option is not None else 0

    @property
    def cdm(self):
        return self.options.get("cdm")

    @property
    def key(self):
        return sorted((field for field in self.fields if field.is_key), key=lambda field: field.proto.number)

    def field(self, name):
        return next((field for field in self.fields if field.name == name), None)

    def line_of_option(self, number, *path):
        """The line on which the option with this number sets its field `path`, or where the braces begin in
        which it is set; else the declaration's."""
        wanted = (*self.path, 7, number, *path)
        lines = [line for place, (line, _) in self.file.places.items() if place[: len(wanted)] == wanted]
        outer = (self.file.place(wanted[:end])[0] for end in range(len(wanted) - 1, len(self.path) + 1, -1))
        return min(lines, default=0) or next(filter(None, outer), self.line)


class File:
    def __init__(self, proto):
        self.proto, self.name, self.package = proto, proto.name, proto.package
        self.places, self.other_comments = {}, {}
        for location in proto.source_code_info.location:
            path = tuple(location.path)
            self.places.setdefault(path, (location.span[0] + 1, location.leading_comments))
            self.other_comments.setdefault(path, [location.trailing_comments, *location.leading_detached_comments])
        self.messages = [Message(self, message, (4, i), None, proto.package) for i, message in enumerate(proto.message_type)]
        self.enums = [Enumeration(self, enum, (5, i), None, proto.package) for i, enum in enumerate(proto.enum_type)]
        self.extensions = [Field(self, field, (7, i), None, proto.package) for i, field in enumerate(proto.extension)]

    @property
    def comments_elsewhere(self):
        """The comments of what cannot have facts, such as an import or a oneof; of the file itself those
        around its own: the line, the comment above and the other ones."""
        enums = [*self.enums, *(enum for message in self.walk() for enum in message.enums)]
        declared = [*self.walk(), *(field for message in self.walk() for field in message.fields), *enums,
                    *(value for enum in enums for value in enum.values), *self.extensions]
        paths = {tuple(element.path) for element in declared}
        for location in self.proto.source_code_info.location:
            if tuple(location.path) not in paths:
                above = "" if tuple(location.path) == SYNTAX else location.leading_comments
                others = [location.trailing_comments, *location.leading_detached_comments]
                yield location.span[0] + 1 - above.count("\n"), above, others

    def place(self, path):
        """Line and comment of what is declared at a path; no line in a set without source information."""
        return self.places.get(tuple(path), (0, ""))

    @property
    def comment(self):
        return parse(self.place(SYNTAX)[1])

    @property
    def is_upload(self):
        return "/upload/" in self.name

    def walk(self):
        """Every message, nested ones after their outer one."""
        queue = list(self.messages)
        while queue:
            message = queue.pop(0)
            yield message
            queue = message.messages + queue


class Contracts:
    """The schemas of a descriptor set that are under ovix/."""

    def __init__(self, encoded):
        plain = descriptor_pb2.FileDescriptorSet.FromString(encoded)
        pool = descriptor_pool.DescriptorPool()
        for file in plain.file:
            pool.Add(file)
        # By the set's own classes, the options of the contracts are known.
        factory = message_factory.MessageFactory(pool)
        factory.GetMessages([file.name for file in plain.file])
        known = factory.GetPrototype(pool.FindMessageTypeByName("google.protobuf.FileDescriptorSet"))
        files = [File(file) for file in known.FromString(encoded).file]
        self.files = [file for file in files if file.name.startswith("ovix/")]
        self.by_name = {file.name: file for file in self.files}
        self.messages = {message.full_name: message for file in self.files for message in file.walk()}
        # What a field can hold: also the entries of maps, and what is imported from elsewhere.
        self.types = {message.full_name: message for file in files for outer in file.walk() for message in [outer, *outer.entries]}
        self.enums = {
            enum.full_name: enum
            for file in self.files
            for enum in [*file.enums, *(inner for message in file.walk() for inner in message.enums)]
        }

    def parts(self, message):
        """A message and all that its fields hold, enumerations and the entries of maps included."""
        reached, queue = {}, [message]
        while queue:
            element = queue.pop(0)
            if element.full_name in reached:
                continue
            reached[element.full_name] = element
            for field in getattr(element, "fields", []):
                inner = self.types.get(field.type_name) or self.enums.get(field.type_name)
                if inner is not None:
                    queue.append(inner)
        return list(reached.values())


def run(command, cwd=None):
    """Runs a program; OSError if there is none."""
    try:
        return subprocess.run(command, cwd=cwd, capture_output=True, text=True, errors="replace")
    except FileNotFoundError as error:
        if not os.path.isdir(cwd or "."):
            raise OSError(f"{cwd} is not a folder; name a tree with ovix/, library/ and compat/") from error
        raise OSError(f"{command[0]} is missing; run scripts/setup test, which installs it") from error


def read(path):
    """The contracts of a frozen release."""
    with open(path, "rb") as file:
        try:
            return Contracts(file.read())
        except (DecodeError, KeyError, TypeError) as error:
            raise OSError(f"{path} is not a descriptor set; bring it back: a release never changes") from error


def on_disk(root):
    """The schemas of a tree, unordered."""
    return {
        os.path.relpath(path, root).replace(os.sep, "/")
        for path in glob.glob(os.path.join(root, "ovix", "**", "*.proto"), recursive=True)
        if os.path.isfile(path)
    }


def not_utf8(root, schemas):
    for schema in schemas:
        with open(os.path.join(root, schema), "rb") as file:
            data = file.read()
        try:
            data.decode()
        except UnicodeDecodeError as error:
            yield Finding(schema, data.count(b"\n", 0, error.start) + 1, "protoc", f"byte {data[error.start]:#04x} is not UTF-8",
                          "save the schema as UTF-8")


def compile_schemas(root, schemas):
    """The descriptor set of schemas, with imports and comments; raises Broken with protoc's own words."""
    if broken := list(not_utf8(root, schemas)):
        raise Broken(broken)
    with tempfile.TemporaryDirectory() as folder:
        path = os.path.join(folder, "contracts.binpb")
        done = run(["protoc", "-I.", "--include_imports", "--include_source_info", f"--descriptor_set_out={path}", *schemas], root)
        if done.returncode == 0:
            with open(path, "rb") as file:
                return file.read()
    findings, blamed, twice = [], set(), set()
    for line in dict.fromkeys(done.stderr.splitlines()):
        found = re.match(r"(ovix/[^:]*\.proto):(?:(\d+):\d+:)? *(.*)", line)
        if not found or "warning:" in line or not os.path.exists(os.path.join(root, found[1])):
            continue
        what = found[3].rstrip(".")
        imported = re.match(r'Import "(.*)" was not found', what)
        if imported and os.path.exists(os.path.join(root, imported[1])):
            blamed.add(found[1])
        # A schema that is there twice: one finding speaks for all that is in it.
        if copied := re.search(r'(?:is already defined in file|seems to be defined in) ("[^"]*")', what):
            if (found[1], copied[1]) in twice:
                continue
            twice.add((found[1], copied[1]))
        findings.append(Finding(found[1], int(found[2] or 1), "protoc", what, "correct the schema"))
    # What a schema lacks because of an error in what it imports is not an error of its own.
    roots = [finding for finding in findings if finding.file not in blamed]
    raise Broken(roots or findings or [Finding("ovix", 1, "protoc", done.stderr.strip().replace("\n", " "), "see there")])
