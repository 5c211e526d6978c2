// Empty messages of any contract, and their bytes read.
#ifndef OVIX_TOOL_WIRE_MESSAGES_H_
#define OVIX_TOOL_WIRE_MESSAGES_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <map>
#include <memory>
#include <string>
#include <string_view>

#include "contracts/contracts.h"

namespace ovix::tool {

// One message of each type, used again and again. For one thread.
class Messages {
 public:
  // `contracts` must outlive it.
  explicit Messages(const Contracts& contracts) : contracts_(contracts) {}

  // An empty message; valid until the next call for the same type.
  google::protobuf::Message& Empty(const Descriptor* type);

 private:
  const Contracts& contracts_;
  std::map<const Descriptor*, std::unique_ptr<google::protobuf::Message>> messages_;
};

// Reads the encoding of a message. Throws Error with `input` and the offset of the first fault,
// counted from `offset`, which is that of the first byte.
void Parse(std::string_view bytes, uint64_t offset, const std::string& input,
           google::protobuf::Message& message);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_WIRE_MESSAGES_H_
