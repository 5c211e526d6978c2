"""Writes a message's schema as the runtimes in C take it: proto2, without options and imports.

Usage: twin.py CONTRACTS.BINPB FULL.NAME.OF.MESSAGE FOLDER
Makes FOLDER/Message.proto, in the package Message, where the message itself is named Sample; and
Message.options, which gives nanopb the arrays that it works on. The bytes are the same.
"""

import pathlib
import sys

from google.protobuf import descriptor_pb2, descriptor_pool

# What the samples hold, and a little room: at most 20 characters, at most 4 of each.
NANOPB_OPTIONS = "* max_size:32 max_count:4\n"


def field_line(field, names):
    if field.message_type:
        kind = names[field.message_type.full_name]
    else:
        kind = {field.TYPE_STRING: "string", field.TYPE_UINT32: "uint32", field.TYPE_FLOAT: "float",
                field.TYPE_BOOL: "bool"}[field.type]
    label = "repeated" if field.label == field.LABEL_REPEATED else "optional"
    packed = " [packed = true]" if label == "repeated" and field.type != field.TYPE_STRING and not field.message_type else ""
    return f"  {label} {kind} {field.name} = {field.number}{packed};"


def main(contracts, full_name, folder):
    pool = descriptor_pool.DescriptorPool()
    for file in descriptor_pb2.FileDescriptorSet.FromString(pathlib.Path(contracts).read_bytes()).file:
        pool.Add(file)
    sample = pool.FindMessageTypeByName(full_name)

    names, order = {full_name: "Sample"}, []

    def visit(message):
        for field in message.fields:
            part = field.message_type
            if part and part.full_name not in names:
                names[part.full_name] = f"Part{len(names)}{part.name}"
                visit(part)
        order.append(message)

    visit(sample)
    lines = ['syntax = "proto2";', f"package {sample.name};"]
    for message in order:
        lines += ["", f"message {names[message.full_name]} {{"]
        lines += [field_line(field, names) for field in message.fields] + ["}"]
    path = pathlib.Path(folder, sample.name)
    path.with_suffix(".proto").write_text("\n".join(lines) + "\n", encoding="ascii")
    path.with_suffix(".options").write_text(NANOPB_OPTIONS, encoding="ascii")


main(*sys.argv[1:])
