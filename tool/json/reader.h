// JSON as protobuf maps it to messages, read strictly: what is not JSON, what no field holds
// exactly and what is said twice is refused, at the first such place.
#ifndef OVIX_TOOL_JSON_READER_H_
#define OVIX_TOOL_JSON_READER_H_

#include <google/protobuf/message.h>

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace ovix::tool {

// Keeps what it learns of message types from one message to the next. For one thread.
class JsonReader {
 public:
  JsonReader();
  ~JsonReader();

  // Reads JSON that is one message into `message`, which has been cleared. Errors call the text
  // `input`; its first line has the number `first_line` there. Throws Error in one line, with
  // input, line, column (from 1, in bytes), the full name of the field or message, and the fix.
  void Read(std::string_view text, const std::string& input, uint64_t first_line,
            google::protobuf::Message& message);

 private:
  class Parser;
  std::unique_ptr<Parser> parser_;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_JSON_READER_H_
