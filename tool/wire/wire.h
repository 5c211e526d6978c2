// The binary encoding read once more, to say where it went wrong and what of it is unknown.
#ifndef OVIX_TOOL_WIRE_WIRE_H_
#define OVIX_TOOL_WIRE_WIRE_H_

#include <google/protobuf/descriptor.h>
#include <google/protobuf/message.h>

#include <cstdint>
#include <set>
#include <string>
#include <string_view>

namespace ovix::tool {

// The first thing in a message's encoding that keeps it from being read.
struct WireProblem {
  uint64_t offset = 0;
  std::string what;  // one line, with the field's full name where there is one; empty: nothing
  size_t sound = 0;  // bytes of the fields before the one that has it, of the message itself
};
// Without a message only the fields themselves are looked at, not what is in them.
WireProblem FindWireProblem(std::string_view encoded, const google::protobuf::Descriptor* message);

// The encoding with its fields in the order of their numbers, those of the messages in it too. The
// runtime writes unknown fields after all others. The encoding must have no problem.
std::string InOrderOfNumbers(const std::string& encoded,
                             const google::protobuf::Descriptor* message);

// Adds the fields that the message and those in it hold but their schemas do not know, as
// "full.name.of.Message 20".
void CollectUnknown(const google::protobuf::Message& message, std::set<std::string>& unknown);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_WIRE_WIRE_H_
