#!/usr/bin/python3
"""Prints the classes of released messages whose fields are not those of the release: what may have another layout.

Usage: changed_classes.py RELEASED.BINPB BUILT.BINPB
"""

import os
import sys

sys.path.insert(0, os.path.join(os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__)))), "scripts"))
sys.dont_write_bytecode = True
from contracts import schemas  # noqa: E402


def fields(message):
    return [(field.proto.number, field.name, field.type, field.is_repeated, field.proto.proto3_optional, field.oneof)
            for field in message.fields]


released, built = (schemas.Contracts(open(path, "rb").read()) for path in sys.argv[1:])
for name, message in released.messages.items():
    if name in built.messages and sorted(fields(message)) != sorted(fields(built.messages[name])):
        print(f"{message.file.package.replace('.', '::')}::{message.class_name}")
