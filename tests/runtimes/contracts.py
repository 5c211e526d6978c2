"""What the readers share: the contracts, known only from the descriptor set, and equality of values."""

import struct

from google.protobuf import descriptor_pb2, descriptor_pool, json_format, message_factory


def read(path):
    with open(path, "rb") as file:
        return file.read()


def same(ours, theirs):
    """Equal values of two JSON trees; a float may have been printed with more digits."""
    if isinstance(ours, dict) and isinstance(theirs, dict):
        return ours.keys() == theirs.keys() and all(same(ours[k], theirs[k]) for k in ours)
    if isinstance(ours, list) and isinstance(theirs, list):
        return len(ours) == len(theirs) and all(map(same, ours, theirs))
    if isinstance(ours, bool) or isinstance(theirs, bool):
        return ours is theirs
    if isinstance(ours, (int, float)) and isinstance(theirs, (int, float)) and ours != theirs:
        return struct.pack("f", ours) == struct.pack("f", theirs)
    return ours == theirs


class Contracts:
    def __init__(self, path):
        files = descriptor_pb2.FileDescriptorSet.FromString(read(path)).file
        self.pool = descriptor_pool.DescriptorPool()
        for file in files:
            self.pool.Add(file)
        self.messages = [f"{file.package}.{message.name}" for file in files for message in file.message_type]
        if hasattr(message_factory, "GetMessageClass"):
            self._class = message_factory.GetMessageClass
        else:  # Debian's, of before 4.22
            factory = message_factory.MessageFactory(self.pool)
            factory.GetMessages([file.name for file in files])
            self._class = factory.GetPrototype

    def descriptor(self, name):
        return self.pool.FindMessageTypeByName(name)

    def new(self, name):
        return self._class(self.descriptor(name))()

    def options(self, name):
        """The options of a message, by their names."""
        # The runtime's own class of options does not know our extensions; the pool's does.
        options = self.new("google.protobuf.MessageOptions")
        options.ParseFromString(self.descriptor(name).GetOptions().SerializeToString())
        return {field.name: value for field, value in options.ListFields()}

    def values(self, message):
        return json_format.MessageToDict(
            message, preserving_proto_field_name=True, descriptor_pool=self.pool
        )
