"""Holds what a library exports against the descriptors: everything that a consumer needs, nothing else.

Usage: exports_test.py CONTRACTS.BINPB EXPORTS ABI [--inline] [--by-name SYMBOLS]
                       [--documented PAGE RELEASE.BINPB]
EXPORTS has a mangled name on each line; ABI is the number of the binary interface. With --inline what is inline, as
accessors are, must be exported too, and what is not asked for is one too many even if it is ours.
SYMBOLS likewise has what the library itself looks up by name: of ours just what a program may hold a copy of.
PAGE must say how many names of each kind a release has, in a table with the lines "| KIND | COUNT |": those of the
contracts of today change with each one that comes in.
"""

import argparse
import collections
import re
import subprocess
import sys

from google.protobuf import descriptor_pb2

Field = descriptor_pb2.FieldDescriptorProto
KEYWORDS = {"class", "namespace", "default", "operator", "register", "template", "this", "delete", "new"}
STRING = "std::__cxx11::basic_string<char, std::char_traits<char>, std::allocator<char> >"
SCALARS = {Field.TYPE_BOOL: "bool", Field.TYPE_INT32: "int", Field.TYPE_UINT32: "unsigned int", Field.TYPE_INT64: "long",
           Field.TYPE_UINT64: "unsigned long", Field.TYPE_FLOAT: "float", Field.TYPE_DOUBLE: "double"}
ARENA = "google::protobuf::Arena*"
MESSAGE = "google::protobuf::Message"

# What every class {m} of the simple name {s} has, by kind: a signature, and as how many symbols GCC writes it (a
# constructor for a whole object and one for a base; a destructor also one that frees the memory).
OUT_OF_LINE = {
    "constructors": [("{m}::{s}({m} const&)", 2), (f"{{m}}::{{s}}({ARENA}, bool)", 2)],
    "destructors": [("{m}::~{s}()", 3)],
    "members of each class": [(f"{{m}}::{member}", 1) for member in [
        "Clear()", "ByteSizeLong() const", "IsInitialized() const", "CopyFrom({m} const&)",
        "_InternalParse(char const*, google::protobuf::internal::ParseContext*)",
        "_InternalSerialize(unsigned char*, google::protobuf::io::EpsCopyOutputStream*) const",
        f"MergeImpl({MESSAGE}&, {MESSAGE} const&)", "InternalSwap({m}*)", "GetMetadata() const", "GetClassData() const",
        "SetCachedSize(int) const", "_class_data_"]],
    "tables of virtual functions": [("vtable for {m}", 1)],
    "type information": [("typeinfo for {m}", 1)],
    "Arena::CreateMaybeMessage": [(f"{{m}}* google::protobuf::Arena::CreateMaybeMessage<{{m}}>({ARENA})", 1)],
    "default instances": [("{n}::_{s}_default_instance_", 1)],
}
INLINE = {
    "constructors": [("{m}::{s}()", 2), ("{m}::{s}({m}&&)", 2),
                     ("{m}::{s}(google::protobuf::internal::ConstantInitialized)", 2)],
    "members of each class": [(f"{{m}}::{member}", 1) for member in [
        "operator=({m} const&)", "operator=({m}&&)", "descriptor()", "GetDescriptor()", "GetReflection()",
        "default_instance()", "internal_default_instance()", "kIndexInFileMessages", "Swap({m}*)",
        "UnsafeArenaSwap({m}*)", f"New({ARENA}) const", "MergeFrom({m} const&)", "GetCachedSize() const",
        f"SharedCtor({ARENA}, bool)", "SharedDtor()", "FullMessageName()"]],
}
# The accessors of a field {f} of the type {t}, by what the field is.
PRESENCE = ["has_{f}() const", "_internal_has_{f}() const"]
SINGULAR = {
    "string": ["clear_{f}()", "{f}() const", "mutable_{f}()", "release_{f}()", "set_allocated_{f}({t}*)",
               "_internal_{f}() const", "_internal_set_{f}({t} const&)", "_internal_mutable_{f}()"],
    "message": ["clear_{f}()", "{f}() const", "mutable_{f}()", "release_{f}()", "set_allocated_{f}({t}*)",
                "unsafe_arena_release_{f}()", "unsafe_arena_set_allocated_{f}({t}*)", "_internal_{f}() const",
                "_internal_mutable_{f}()"],
    "scalar": ["clear_{f}()", "{f}() const", "set_{f}({t})", "_internal_{f}() const", "_internal_set_{f}({t})"],
}
EVERY_REPEATED = ["{f}_size() const", "_internal_{f}_size() const", "clear_{f}()", "{f}(int) const", "{f}() const",
                  "mutable_{f}()", "_internal_{f}(int) const"]
REPEATED = {
    "string": EVERY_REPEATED + ["mutable_{f}(int)", "add_{f}()", "_internal_add_{f}()"] + [
        f"{setter}{value})" for value in ("{t} const&", "{t}&&", "char const*", "char const*, unsigned long")
        for setter in ("add_{f}(", "set_{f}(int, ")],
    "message": EVERY_REPEATED + ["mutable_{f}(int)", "add_{f}()", "_internal_add_{f}()"],
    "scalar": EVERY_REPEATED + ["set_{f}(int, {t})", "add_{f}({t})", "_internal_{f}() const", "_internal_add_{f}({t})",
                                "_internal_mutable_{f}()"],
}


def mangled_file(name):
    return name.replace("_", "_5f").replace("/", "_2f").replace(".", "_2e")


def classes(file):
    """Each class as its C++ name, the last part of that, and its message; nested types under the names of their path."""
    namespace = file.package.replace(".", "::")

    def walk(message, outer):
        name = outer + message.name
        yield f"{namespace}::{name}", name, message
        for nested in message.nested_type:
            yield from walk(nested, name + "_")

    for message in file.message_type:
        yield from walk(message, "")


def cpp_types(files):
    """The C++ name of each message and enumeration, by its name in the schemas."""
    names = {}

    def walk(scope, outer, message):
        names[f"{scope}.{message.name}"] = outer + message.name
        for enum in message.enum_type:
            names[f"{scope}.{message.name}.{enum.name}"] = f"{outer}{message.name}_{enum.name}"
        for nested in message.nested_type:
            walk(f"{scope}.{message.name}", f"{outer}{message.name}_", nested)

    for file in files:
        namespace = file.package.replace(".", "::") + "::"
        for message in file.message_type:
            walk(f".{file.package}", namespace, message)
        for enum in file.enum_type:
            names[f".{file.package}.{enum.name}"] = namespace + enum.name
    return names


def accessors(field, types):
    """The members that a class has for a field, and what kind of field it is."""
    if field.type in (Field.TYPE_STRING, Field.TYPE_BYTES):
        kind, cpp_type = "string", STRING
    elif field.type == Field.TYPE_MESSAGE:
        kind, cpp_type = "message", types[field.type_name]
    else:
        kind, cpp_type = "scalar", SCALARS.get(field.type) or types[field.type_name]
    repeated = field.label == Field.LABEL_REPEATED
    templates = (REPEATED if repeated else SINGULAR)[kind]
    if not repeated and (field.proto3_optional or kind == "message"):
        templates = templates + PRESENCE
    name = field.name.lower()
    name += "_" if name in KEYWORDS else ""
    label = "repeated " if repeated else "optional " if field.proto3_optional and kind != "message" else ""
    return f"accessors of {label}{kind}s", [member.format(f=name, t=cpp_type) for member in templates]


class Wanted:
    """Signatures, each with its kind and as how many symbols it must be there."""

    def __init__(self):
        self.symbols, self.kinds = collections.Counter(), {}

    def add(self, kind, signature, count=1):
        if signature in self.symbols:
            raise ValueError(f"{signature} is asked for twice")
        self.symbols[signature], self.kinds[signature] = count, kind

    def by_kind(self):
        totals = collections.Counter()
        for signature, count in self.symbols.items():
            totals[self.kinds[signature]] += count
        return totals


def wanted(files, abi):
    """What must be exported whatever the platform; what is inline; and the names of all classes."""
    types = cpp_types(files)
    always, inline, ours = Wanted(), Wanted(), []
    for file in files:
        if not file.name.startswith("ovix/"):
            continue
        always.add("descriptor tables", "descriptor_table_" + mangled_file(file.name))
        always.add("offsets of schema files", f"TableStruct_{mangled_file(file.name)}::offsets")
        namespace = file.package.replace(".", "::")
        for name, short, message in classes(file):
            ours.append(name)
            for members, target in ((OUT_OF_LINE, always), (INLINE, inline)):
                for kind, signatures in members.items():
                    for signature, count in signatures:
                        target.add(kind, signature.format(m=name, s=short, n=namespace), count)
            for field in message.field:
                kind, members = accessors(field, types)
                for member in members:
                    inline.add(kind, f"{name}::{member}")
        for enum in file.enum_type:
            always.add("functions of enumerations", f"{namespace}::{enum.name}_descriptor()")
            always.add("functions of enumerations", f"{namespace}::{enum.name}_IsValid(int)")
        for extension in file.extension:
            always.add("extension identifiers", f"{namespace}::{extension.name}")
    name, short = "ovix::telemetry::contract::ContractsCollection", "ContractsCollection"
    ours.append(name)
    for member, count in [(f"{short}()", 2), (f"{short}({name} const&)", 2), (f"~{short}()", 3),
                          (f"operator=({name} const&)", 1), ("HasNext() const", 1), ("Next()", 1), ("Restart()", 1),
                          ("_collection", 1)]:
        always.add(short, f"{name}::{member}", count)
    always.add(short, f"vtable for {name}")
    always.add(short, f"typeinfo for {name}")
    always.add("the binary interface", f"ovix_telemetry_data_contracts_abi_{abi}")
    return always, inline, ours


def copied_names(always):
    """What a program may hold a copy of, so that the library must look it up."""
    kinds = {"descriptor tables", "default instances", "tables of virtual functions", "extension identifiers"}
    names = {signature for signature, kind in always.kinds.items() if kind in kinds}
    return names | {signature for signature in always.symbols if signature.startswith("vtable for ")}


def demangled_names(path):
    with open(path, encoding="ascii") as file:
        names = subprocess.run(["c++filt"], input="\n".join(file.read().split()), capture_output=True, text=True,
                               check=True).stdout.splitlines()
    # 64 bits are a long long on Windows. The tags of the standard library's interface are not part of a signature.
    return [name.replace("[abi:cxx11]", "").replace("long long", "long") for name in names]


def main(contracts, exports, abi, inline, by_name, documented):
    with open(contracts, "rb") as file:
        files = descriptor_pb2.FileDescriptorSet.FromString(file.read()).file
    always, inline_members, ours = wanted(files, abi)
    exported = collections.Counter(demangled_names(exports))

    required = always.symbols + (inline_members.symbols if inline else collections.Counter())
    kinds = {**always.kinds, **inline_members.kinds}
    missing = sorted((required - exported).elements())
    # A function that protoc happens to define out of line, or a class within a class, is ours too, wherever it
    # is not the whole list that is asked for.
    allowed = set() if inline else set(inline_members.symbols) | {f"typeinfo name for {name}" for name in ours}
    nested = tuple(f"{name}::_Internal::" for name in ours)
    foreign = sorted(signature for signature in (exported - required).elements()
                     if signature not in allowed and (inline or not signature.startswith(nested)))
    for name in missing[:20]:
        print(f"exports_test: {name} is not exported, or less often than it should be", file=sys.stderr)
    for kind, count in collections.Counter(kinds[name] for name in missing).most_common():
        print(f"exports_test: {count} missing of the kind: {kind}", file=sys.stderr)
    for name in foreign[:20]:
        print(f"exports_test: {name} is exported and is not asked for", file=sys.stderr)
    wrong = len(missing) + len(foreign)
    print(f"exports_test: {exported.total()} exports, {required.total()} required, "
          f"{len(missing)} missing, {len(foreign)} foreign")

    if by_name:
        copied = copied_names(always)
        known = set(always.symbols) | set(inline_members.symbols)
        looked_up = {symbol for symbol in demangled_names(by_name) if symbol in known}
        closed, needless = sorted(copied - looked_up), sorted(looked_up - copied)
        for name in closed[:20]:
            print(f"exports_test: {name} is not looked up by name, and a program's copy of it would be a second one; "
                  "add it to library/interposable.list", file=sys.stderr)
        for name in needless[:20]:
            print(f"exports_test: {name} is looked up by name without need", file=sys.stderr)
        wrong += len(closed) + len(needless)
        print(f"exports_test: {len(looked_up)} of ours looked up by name, {len(closed)} missing, {len(needless)} needless")

    if documented:
        page_path, release = documented
        with open(release, "rb") as file:
            always, inline_members, _ = wanted(descriptor_pb2.FileDescriptorSet.FromString(file.read()).file, abi)
        totals = always.by_kind() + inline_members.by_kind()
        totals["all"] = sum(totals.values())
        with open(page_path, encoding="utf-8") as file:
            page = file.read()
        for kind, count in totals.items():
            if f"| {kind} | {count:,} |" not in page:
                print(f"exports_test: {page_path} does not say '| {kind} | {count:,} |'", file=sys.stderr)
                wrong += 1
    return 1 if wrong or not ours else 0


parser = argparse.ArgumentParser()
parser.add_argument("contracts")
parser.add_argument("exports")
parser.add_argument("abi", type=int)
parser.add_argument("--inline", action="store_true")
parser.add_argument("--by-name")
parser.add_argument("--documented", nargs=2)
arguments = parser.parse_args()
sys.exit(main(arguments.contracts, arguments.exports, arguments.abi, arguments.inline, arguments.by_name,
              arguments.documented))
