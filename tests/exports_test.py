"""Holds what a library exports against the descriptors: everything that a consumer needs, nothing else.

Usage: exports_test.py CONTRACTS.BINPB EXPORTS [--inline] [--by-name SYMBOLS]
EXPORTS has a mangled name on each line. With --inline what is inline, as accessors are, must be exported too.
SYMBOLS likewise has what the library itself looks up by name: of ours just what a program may hold a copy of.
"""

import argparse
import re
import subprocess
import sys

from google.protobuf import descriptor_pb2

KEYWORDS = {"class", "namespace", "default", "operator", "register", "template", "this", "delete", "new"}


def mangled_file(name):
    return name.replace("_", "_5f").replace("/", "_2f").replace(".", "_2e")


def classes(file):
    """Each class with its message; nested types under the names that their path gives."""
    namespace = file.package.replace(".", "::")

    def walk(message, outer):
        name = outer + message.name
        yield namespace + "::" + name, name, message
        for nested in message.nested_type:
            yield from walk(nested, name + "_")

    for message in file.message_type:
        yield from walk(message, "")


def members(name, short, message, inline):
    """What each class must export; a member by its name, whatever its arguments."""
    # What protoc defines inside the class body (New, descriptor ...) MinGW leaves to the consumer.
    out_of_line = ["~" + short, short, "Clear", "ByteSizeLong", "_InternalParse", "_InternalSerialize",
                   "MergeImpl", "CopyFrom", "IsInitialized", "InternalSwap", "GetMetadata",
                   "GetClassData", "SetCachedSize", "_class_data_"]
    yield from (f"{name}::{member}" for member in out_of_line)
    yield f"vtable for {name}"
    yield f"typeinfo for {name}"
    if not inline:
        return
    yield f"{name}::SharedCtor"
    yield f"{name}::SharedDtor"
    for field in message.field:
        accessor = field.name + "_" if field.name in KEYWORDS else field.name
        yield f"{name}::{accessor}"
        yield f"{name}::clear_{accessor}"
        is_message = field.type == field.TYPE_MESSAGE
        if field.label == field.LABEL_REPEATED:
            yield f"{name}::{accessor}_size"
            yield f"{name}::add_{accessor}"
        elif is_message or field.proto3_optional:
            yield f"{name}::has_{accessor}"
        if is_message or field.type == field.TYPE_STRING:
            yield f"{name}::mutable_{accessor}"
        else:
            yield f"{name}::set_{accessor}"


def demangled_names(path):
    with open(path, encoding="ascii") as file:
        return subprocess.run(["c++filt"], input="\n".join(file.read().split()), capture_output=True, text=True,
                              check=True).stdout.splitlines()


def main(contracts, exports, inline, by_name):
    with open(contracts, "rb") as file:
        files = descriptor_pb2.FileDescriptorSet.FromString(file.read()).file
    demangled = demangled_names(exports)
    # A member is compared by its name alone: what stands before its arguments and a return type.
    exported = set()
    for symbol in demangled:
        name = re.sub(r"\(.*\)( const)?$", "", symbol.replace("[abi:cxx11]", ""))
        exported.add(name)

    required, copied, ours = set(), set(), []
    for file in files:
        if not file.name.startswith("ovix/"):
            continue
        required.add("descriptor_table_" + mangled_file(file.name))
        required.add(f"TableStruct_{mangled_file(file.name)}::offsets")
        namespace = file.package.replace(".", "::")
        for name, short, message in classes(file):
            required.update(members(name, short, message, inline))
            required.add(f"{namespace}::_{short}_default_instance_")
            required.add(f"{name}* google::protobuf::Arena::CreateMaybeMessage<{name}>")
            copied.update({f"{namespace}::_{short}_default_instance_", f"vtable for {name}"})
            ours.append(name)
        copied.add("descriptor_table_" + mangled_file(file.name))
        copied.update(f"{namespace}::{extension.name}" for extension in file.extension)
        for enum in file.enum_type:
            required.update({f"{namespace}::{enum.name}_descriptor", f"{namespace}::{enum.name}_IsValid"})
        required.update(f"{namespace}::{extension.name}" for extension in file.extension)
    collection = "ovix::telemetry::contract::ContractsCollection"
    ours.append(collection)
    required.update(f"{collection}::{member}" for member in
                    ["ContractsCollection", "~ContractsCollection", "HasNext", "Next", "Restart",
                     "operator=", "_collection"])

    missing = sorted(required - exported)
    copied.add(f"vtable for {collection}")
    prefixes = {f"{name}::{nested}" for name in ours for nested in ("", "_Internal::")}
    kinds = ("vtable for ", "typeinfo for ", "typeinfo name for ")

    def is_ours(symbol):
        if symbol in required:
            return True
        for kind in kinds:
            if symbol.startswith(kind):
                return symbol[len(kind):] in ours
        # A member, with the return type of a template before it where it is one.
        scope = symbol.split("<")[0].rsplit(" ", 1)[-1]
        return scope[: scope.rfind("::") + 2] in prefixes

    foreign = sorted(symbol for symbol in exported if not is_ours(symbol))
    for name in missing[:20]:
        print(f"exports_test: {name} is not exported", file=sys.stderr)
    for name in foreign[:20]:
        print(f"exports_test: {name} is exported and is not ours", file=sys.stderr)
    wrong = len(missing) + len(foreign)
    print(f"exports_test: {len(demangled)} exports, {len(required)} required, "
          f"{len(missing)} missing, {len(foreign)} foreign")

    if by_name:
        looked_up = {symbol for symbol in demangled_names(by_name) if is_ours(symbol)}
        closed, needless = sorted(copied - looked_up), sorted(looked_up - copied)
        for name in closed[:20]:
            print(f"exports_test: {name} is not looked up by name, and a program's copy of it would be a second one; "
                  "add it to library/interposable.list", file=sys.stderr)
        for name in needless[:20]:
            print(f"exports_test: {name} is looked up by name without need", file=sys.stderr)
        wrong += len(closed) + len(needless)
        print(f"exports_test: {len(looked_up)} of ours looked up by name, {len(closed)} missing, {len(needless)} needless")
    return 1 if wrong or not required else 0


parser = argparse.ArgumentParser()
parser.add_argument("contracts")
parser.add_argument("exports")
parser.add_argument("--inline", action="store_true")
parser.add_argument("--by-name")
arguments = parser.parse_args()
sys.exit(main(arguments.contracts, arguments.exports, arguments.inline, arguments.by_name))
