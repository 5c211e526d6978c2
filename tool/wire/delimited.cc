#include "wire/delimited.h"

namespace ovix::tool {

std::string LengthPrefix(size_t size) {
  std::string prefix;
  for (size_t rest = size; prefix.empty() || rest != 0; rest >>= 7) {
    prefix += static_cast<char>((rest & 0x7f) | (rest > 0x7f ? 0x80 : 0));
  }
  return prefix;
}

// Takes the length before a message, byte by byte: the message may be shorter than the longest
// length. False at the end of the input.
bool DelimitedReader::TakeLength(uint32_t& length) {
  uint64_t value = 0;
  std::string what = "a message cannot be that long; is the stream --delimited?";
  for (size_t i = 0; i < 5; ++i) {
    const std::string_view prefix = input_.Peek(i + 1);
    if (prefix.empty()) return false;
    if (prefix.size() <= i) {
      what = "the input ends within the length of a message";
      break;
    }
    const auto byte = static_cast<unsigned char>(prefix[i]);
    value |= static_cast<uint64_t>(byte & 0x7f) << (7 * i);
    if (byte >= 0x80) continue;
    if (value > 0x7fffffff) break;
    length = static_cast<uint32_t>(value);
    input_.Take(i + 1);
    return true;
  }
  throw DamagedStream(input_.name(), "byte " + std::to_string(input_.offset()), what);
}

bool DelimitedReader::Next(std::string_view& bytes) {
  input_.Take(taken_next_);
  taken_next_ = 0;
  uint32_t length = 0;
  if (!TakeLength(length)) return false;
  ++number_;
  bytes = input_.Peek(length);
  if (bytes.size() < length) {
    throw DamagedStream(input_.name(), "byte " + std::to_string(input_.offset()),
                        "message number " + std::to_string(number_) + " needs " +
                            std::to_string(length) + " bytes, but " + std::to_string(bytes.size()) +
                            " are left");
  }
  taken_next_ = length;
  return true;
}

}  // namespace ovix::tool
