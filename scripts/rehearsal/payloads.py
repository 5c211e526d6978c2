"""Reads what one release wrote with the contracts of another, as a reader does that knows only a descriptor set."""

import collections

from google.protobuf import any_pb2, descriptor_pb2, descriptor_pool, message_factory
from google.protobuf.internal.decoder import _DecodeVarint32
from google.protobuf.message import DecodeError

from rehearsal.run import Failed


class Release:
    """The messages of a descriptor set."""

    def __init__(self, path):
        self.pool = descriptor_pool.DescriptorPool()
        try:
            with open(path, "rb") as file:
                files = descriptor_pb2.FileDescriptorSet.FromString(file.read()).file
            for each in files:
                self.pool.Add(each)
        except (DecodeError, TypeError) as error:
            raise Failed(f"{path} is damaged: {error}") from error
        if not files:
            raise Failed(f"{path} is damaged: it has no schemas")
        self.factory = message_factory.MessageFactory(self.pool)

    def message(self, name):
        """The class of a message; nothing where the release has none of the name."""
        try:
            return self.factory.GetPrototype(self.pool.FindMessageTypeByName(name))
        except KeyError:
            return None


def read_corpus(path):
    """Of each entry of a corpus: the name of its message, and its bytes."""
    with open(path, "rb") as file:
        data = file.read()
    at = 0
    while at < len(data):
        begin = at
        try:
            size, at = _DecodeVarint32(data, begin)
            if at + size > len(data):
                raise DecodeError(f"{size} bytes are announced, {len(data) - at} are there")
            entry = any_pb2.Any.FromString(data[at:at + size])
        except (DecodeError, IndexError) as error:
            raise Failed(f"{path} is damaged at byte {begin}: {error}") from error
        yield entry.type_url.rpartition("/")[2], entry.value
        at += size


def hold(message, older, newer, name):
    """Every value that the older release knows is the same to the newer one, absence included."""
    for field in older.DESCRIPTOR.fields:
        ours, theirs = getattr(older, field.name), getattr(newer, field.name)
        if field.has_presence and older.HasField(field.name) != newer.HasField(field.name):
            raise Failed(f"{message}: {name}{field.name} is present to one of two releases only")
        if field.message_type is None:
            # As text, in which a NaN is itself.
            if str(ours) != str(theirs):
                raise Failed(f"{message}: {name}{field.name} has another value to one of two releases")
        elif field.label == field.LABEL_REPEATED:
            if len(ours) != len(theirs):
                raise Failed(f"{message}: {name}{field.name} has another length to one of two releases")
            for each, other in zip(ours, theirs):
                hold(message, each, other, f"{name}{field.name}.")
        elif older.HasField(field.name):
            hold(message, ours, theirs, f"{name}{field.name}.")


def exchange(older, newer, corpus, is_older_reader):
    """Reads a corpus with both releases. What the one that did not write it writes again is, to the one that did, what it
    was: nothing that it does not know is lost. Returns how many messages were read."""
    older, newer = Release(older), Release(newer)
    read = collections.Counter()
    for name, data in read_corpus(corpus):
        old, new = older.message(name), newer.message(name)
        if new is None:
            raise Failed(f"{name} is gone, but what was written of it is not")
        if old is None and is_older_reader:
            continue
        try:
            hold(name, old.FromString(data), new.FromString(data), "")
        except DecodeError as error:
            raise Failed(f"{name}: what {corpus} has of it cannot be read: {error}") from error
        reader, writer = (old, new) if is_older_reader else (new, old)
        again = reader.FromString(data).SerializeToString()
        if writer.FromString(again).SerializeToString() != writer.FromString(data).SerializeToString():
            raise Failed(f"{name}: what one release writes again is not what the other wrote")
        read[name] += 1
    if not read:
        raise Failed(f"{corpus} holds nothing")
    return len(read)
