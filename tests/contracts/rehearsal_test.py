#!/usr/bin/python3
"""Sees the rehearsal of a release notice what it is there to notice: what a store has lost, what a reader reads otherwise,
a command that fails, and an end that comes from outside.

Usage: rehearsal_test.py SOURCE_DIR
"""

import os
import signal
import sqlite3
import subprocess
import sys
import tempfile
import time

ROOT = os.path.abspath(sys.argv[1])
sys.path.insert(0, os.path.join(ROOT, "scripts"))
sys.dont_write_bytecode = True
from google.protobuf import any_pb2, descriptor_pb2, descriptor_pool, message_factory  # noqa: E402
from google.protobuf.internal.encoder import _VarintBytes  # noqa: E402
from rehearsal import payloads, store  # noqa: E402
from rehearsal.run import Failed, Runner  # noqa: E402

LOG = "CREATE TABLE BootLog (time, size); INSERT INTO BootLog VALUES ('1', 5), ('2', 6);"
STATE = "CREATE TABLE System (time, size); INSERT INTO System VALUES ('1', 5);"
# What an upgrade does to a store with both tables, and what is said.
UPGRADES = [
    ("", None),
    ("INSERT INTO BootLog VALUES ('3', 7); ALTER TABLE BootLog ADD reason; UPDATE System SET size = 6;", None),
    ("CREATE TABLE Fan (time); CREATE TABLE _meta (a);", None),
    ("DROP TABLE System;", "System is gone"),
    ("ALTER TABLE BootLog RENAME size TO extent;", "column size is gone"),
    ("DELETE FROM System;", "had 1 rows and has none"),
    ("DELETE FROM BootLog WHERE size = 5;", "1 of 2 rows"),
    ("UPDATE BootLog SET size = 7 WHERE size = 5;", "1 of 2 rows"),
    ("UPDATE BootLog SET size = '5' WHERE size = 5;", "1 of 2 rows"),
]

Field = descriptor_pb2.FieldDescriptorProto
OLD = {"M": [("a", 1, Field.TYPE_STRING), ("b", 2, Field.TYPE_UINT32)]}
# What a newer release declares, and what is said of a message of the older one.
RELEASES = [
    (OLD, None),
    ({"M": [*OLD["M"], ("c", 3, Field.TYPE_STRING)], "N": OLD["M"]}, None),
    ({"N": OLD["M"]}, "is gone"),
    ({"M": [OLD["M"][0], ("b", 3, Field.TYPE_UINT32)]}, "b has another value"),
    ({"M": [OLD["M"][0], ("b", 2, Field.TYPE_SINT32)]}, "b has another value"),
    ({"M": [OLD["M"][0], ("b", 2, Field.TYPE_BOOL)]}, "b has another value"),
]

# What damages a corpus of one message, and what is said.
DAMAGES = [
    (lambda data: data[:-1], "corpus is damaged at byte 0: 32 bytes are announced, 31 are there"),
    (lambda data: data + b"\x80", "corpus is damaged at byte 33: index out of range"),
    (lambda data: data[:1] + b"\x07" + data[2:], "corpus is damaged at byte 0: Error parsing message"),
    (lambda data: data[:-1] + b"\x80", "p.M: what"),
]
# A descriptor set, and what is said.
RELEASE_DAMAGES = [
    (b"", "it has no schemas"),
    (b"\x0a\x7f", "Error parsing message"),
    (descriptor_pb2.FileDescriptorSet(file=[descriptor_pb2.FileDescriptorProto(name="m", dependency=["n"])]).SerializeToString(), ""),
]


def upgrade(folder, change):
    path = os.path.join(folder, "Profile.db")
    seen = []
    for script in (LOG + STATE, change):
        with sqlite3.connect(path) as database:
            database.executescript(script)
        database.close()
        seen.append(store.rows(folder))
    store.hold(*seen, {"BootLog"})


def upgrade_damaged(folder, data):
    with open(os.path.join(folder, "Profile.db"), "wb") as file:
        file.write(data)
    store.rows(folder)


def release(folder, name, messages):
    """A descriptor set of messages."""
    file = descriptor_pb2.FileDescriptorProto(name="m.proto", package="p", syntax="proto3")
    for message, fields in messages.items():
        added = file.message_type.add(name=message)
        for field, number, kind in fields:
            added.field.add(name=field, number=number, type=kind, label=Field.LABEL_OPTIONAL)
    path = os.path.join(folder, name)
    with open(path, "wb") as out:
        out.write(descriptor_pb2.FileDescriptorSet(file=[file]).SerializeToString())
    return path, file


def exchange(folder, messages, damage=lambda data: data):
    old, file = release(folder, "old", OLD)
    new, _ = release(folder, "new", messages)
    pool = descriptor_pool.DescriptorPool()
    pool.Add(file)
    value = message_factory.MessageFactory(pool).GetPrototype(pool.FindMessageTypeByName("p.M"))(a="x", b=3)
    entry = any_pb2.Any(type_url="type.googleapis.com/p.M", value=value.SerializeToString()).SerializeToString()
    corpus = os.path.join(folder, "corpus")
    with open(corpus, "wb") as out:
        out.write(damage(_VarintBytes(len(entry)) + entry))
    payloads.exchange(old, new, corpus, False)


def damaged_release(folder, data):
    path = os.path.join(folder, "contracts")
    with open(path, "wb") as file:
        file.write(data)
    payloads.Release(path)


def run(folder, command):
    Runner(folder, os.path.join(folder, "log"))(["bash", "-c", command])


# Ends the rehearsal before it has the command's process, which runs by then.
END_WHILE_STARTING = """
start = subprocess.Popen.__init__
def start_and_end(*words, **options):
    start(*words, **options)
    while not os.path.exists("started"):
        time.sleep(0.01)
    os.kill(os.getpid(), sent)
subprocess.Popen.__init__ = start_and_end
"""


def ended_from_outside(folder, first="", sent="SIGTERM"):
    """What a command has started is gone when the rehearsal is ended."""
    code = ("import os, signal, subprocess, sys, time\n"
            f"sys.path.insert(0, {os.path.join(ROOT, 'scripts')!r})\nfrom rehearsal.run import Runner\n"
            f"sent = signal.{sent}\nsignal.signal(sent, signal.default_int_handler)\n{first}"
            "Runner('.', 'log')(['bash', '-c', 'sleep 60 & echo $! >pid; mv pid started; wait'])\n")
    rehearsal = subprocess.Popen([sys.executable, "-B", "-c", code], cwd=folder, stderr=subprocess.DEVNULL)
    started = os.path.join(folder, "started")
    while not os.path.exists(started) and rehearsal.poll() is None:
        time.sleep(0.01)
    rehearsal.send_signal(getattr(signal, sent))
    rehearsal.wait(20)
    with open(started, encoding="utf-8") as file:
        process = file.read().strip()
    for _ in range(200):
        try:
            with open(f"/proc/{process}/stat", encoding="utf-8") as file:
                if file.read().rpartition(")")[2].split()[0] == "Z":
                    return
        except FileNotFoundError:
            return
        time.sleep(0.01)
    os.kill(int(process), signal.SIGKILL)
    raise Failed("left a process running")


CASES = [
    *((f"upgrade {change!r}", lambda folder, change=change: upgrade(folder, change), said) for change, said in UPGRADES),
    *((f"exchange {new}", lambda folder, new=new: exchange(folder, new), said) for new, said in RELEASES),
    ("what is not a database", lambda folder: upgrade_damaged(folder, b"SQLite format 4" * 99), "Profile.db cannot be read: file is not a database"),
    *((f"a corpus that is damaged: {said}", lambda folder, damage=damage: exchange(folder, OLD, damage), said) for damage, said in DAMAGES),
    *((f"a damaged descriptor set: {said}", lambda folder, data=data: damaged_release(folder, data), f"contracts is damaged: {said}") for data, said in RELEASE_DAMAGES),
    ("a command that passes", lambda folder: run(folder, "true"), None),
    ("a command that fails", lambda folder: run(folder, "echo first; echo last >&2; exit 3"), "ended with 3, not 0; it says last: last"),
    ("a test that fails", lambda folder: run(folder, "printf 'FAILED:\\n\\t  3 - dll (Failed)\\n\\t 12 - zip (Timeout)\\nErrors\\n'; exit 8"),
     "ended with 8, not 0; of the tests failed: dll, zip"),
    ("ended from outside", ended_from_outside, None),
    *((f"ended by {sent} while it starts a command", lambda folder, sent=sent: ended_from_outside(folder, END_WHILE_STARTING, sent), None)
      for sent in ("SIGHUP", "SIGINT", "SIGTERM")),
]


def main():
    failures = 0
    for name, case, expected in CASES:
        # With what an address of a file would take for something else.
        with tempfile.TemporaryDirectory(prefix="#1?%41") as folder:
            try:
                case(folder)
                said = None
            except Failed as failed:
                said = str(failed)
        if (said is None) != (expected is None) or (expected and expected not in said):
            failures += 1
            print(f"rehearsal_test: {name}: expected {expected}, but it says {said}", file=sys.stderr)
    print(f"rehearsal_test: {len(CASES)} cases, {failures} failed")
    return 1 if failures else 0


sys.exit(main())
