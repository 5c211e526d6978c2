// What encode and decode have in common.
#ifndef OVIX_TOOL_CONVERT_CONVERSION_H_
#define OVIX_TOOL_CONVERT_CONVERSION_H_

#include <cstdint>
#include <string>

#include "contracts/contracts.h"
#include "terminal/encoding.h"

namespace ovix::tool {

enum class Notation { kJson, kText };

struct Conversion {
  const Descriptor* type = nullptr;  // of the messages; null where labels say it
  std::string input;                 // a file; standard input where it is empty or "-"
  std::string output;                // a file; standard output where it is empty or "-"
  Notation notation = Notation::kJson;
  Encoding encoding = Encoding::kBinary;  // of the binary side's bytes
  bool delimited = false;  // many messages: each after its length in binary, one a line in text
  bool skip_bad = false;   // go on after a message that is bad
};

// The messages that were skipped for being bad. Names each of the first few on standard error.
class Skipped {
 public:
  // `problem` is one line that names the input and the place.
  void Add(const std::string& problem);
  uint64_t count() const { return count_; }
  // Says how many there were; nothing without any.
  void Say(const std::string& input) const;

 private:
  uint64_t count_ = 0;
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONVERT_CONVERSION_H_
