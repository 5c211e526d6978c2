// Payloads and records held against their contracts.
#ifndef OVIX_TOOL_CHECK_CHECK_H_
#define OVIX_TOOL_CHECK_CHECK_H_

#include <string>
#include <vector>

#include "contracts/contracts.h"
#include "terminal/encoding.h"

namespace ovix::tool {

struct Checking {
  const Descriptor* type = nullptr;   // of the messages; null where labels say it
  std::vector<std::string> inputs;    // of messages of this type
  std::vector<std::string> labelled;  // labels and outboxes, without a type
  Encoding encoding = Encoding::kBinary;
  bool as_json = false;
  bool delimited = false;  // each input is many messages, each after its length
};

enum class Checked { kClean, kFindings, kBadInput };

// Writes the findings to standard output, a line each or as JSON, and on standard error how many
// there were.
// An input that cannot be read is reported there, and the others go on.
Checked Check(const Contracts& contracts, const Checking& options);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CHECK_CHECK_H_
