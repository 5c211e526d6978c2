// A stream of messages, each after its length as a varint.
#ifndef OVIX_TOOL_WIRE_DELIMITED_H_
#define OVIX_TOOL_WIRE_DELIMITED_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "terminal/error.h"
#include "terminal/input.h"

namespace ovix::tool {

// Bytes that are not a stream of messages: damaged, cut, or without lengths.
class DamagedStream : public Error {
 public:
  DamagedStream(const std::string& input, std::string place, std::string problem)
      : Error(input + ": " + place + ": " + problem),
        place_(std::move(place)),
        problem_(std::move(problem)) {}

  // "byte 12", counted from the beginning of the input.
  const std::string& place() const { return place_; }
  const std::string& problem() const { return problem_; }

 private:
  std::string place_;
  std::string problem_;
};

// Reads the messages of a stream one after the other.
class DelimitedReader {
 public:
  explicit DelimitedReader(Input& input) : input_(input) {}

  // The bytes of the next message, valid until the next call; false at the end of the input. Takes
  // no byte more than the message has, and so waits for none. Throws DamagedStream where the stream
  // is not one, Error where the input cannot be read.
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
