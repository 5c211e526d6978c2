// What encode and decode have in common.
#ifndef OVIX_TOOL_CONVERT_CONVERSION_H_
#define OVIX_TOOL_CONVERT_CONVERSION_H_

#include <google/protobuf/message.h>

#include <memory>
#include <string>

namespace ovix::tool {

enum class Notation { kJson, kText };

struct Conversion {
  std::string name;    // the message's full name, or the end of it where no other has the same
  std::string input;   // a file; standard input where it is empty or "-"
  std::string output;  // a file; standard output where it is empty or "-"
  Notation notation = Notation::kJson;
  bool delimited = false;  // many messages: each behind its length in binary, one a line in text
};

// An empty message of the conversion's type. Throws Error: a name that no message has.
std::unique_ptr<google::protobuf::Message> NewMessage(const Conversion& conversion);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONVERT_CONVERSION_H_
