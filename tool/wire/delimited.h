// A stream of messages, each behind its length as a varint.
#ifndef OVIX_TOOL_WIRE_DELIMITED_H_
#define OVIX_TOOL_WIRE_DELIMITED_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "terminal/input.h"

namespace ovix::tool {

// Reads the messages of a stream one after the other.
class DelimitedReader {
 public:
  explicit DelimitedReader(Input& input) : input_(input) {}

  // The bytes of the next message, valid until the next call; false at the end of the input. Takes
  // no byte more than the message has, and so waits for none. Throws Error where the stream is not
  // one.
  bool Next(std::string_view& bytes);
  // Of the message: from 1, and where it begins in the input.
  uint64_t number() const { return number_; }
  uint64_t offset() const { return input_.offset(); }

 private:
  bool TakeLength(uint32_t& length);

  Input& input_;
  uint64_t number_ = 0;
  size_t taken_next_ = 0;  // bytes of the message that was last returned
};

// The length that goes before a message of this size.
std::string LengthPrefix(size_t size);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_WIRE_DELIMITED_H_
