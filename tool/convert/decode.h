// The binary encoding as JSON or text format.
#ifndef OVIX_TOOL_CONVERT_DECODE_H_
#define OVIX_TOOL_CONVERT_DECODE_H_

#include <optional>
#include <string>
#include <vector>

#include "convert/conversion.h"

namespace ovix::tool {

struct Decoding : Conversion {
  std::vector<std::string> redact;      // privacy classes, or "all"
  std::optional<std::string> key_file;  // strings of these classes are hashed under this key
  // Labels of payloads and outboxes to read instead of the input.
  std::vector<std::string> labelled;
};

// Whether something is missing from the output: fields that the contracts do not know and JSON left
// out, messages that were skipped. Standard error names them. Throws Error, with nothing written to
// a file.
bool Decode(const Contracts& contracts, const Decoding& options);

// The same for payloads by their labels: each is held against its label, those that fail are named
// and left out, and the others go on. One label named alone gives its message alone; otherwise
// each message is on one line of JSON with its label, or in text format after a comment.
bool DecodeLabelled(const Contracts& contracts, const Decoding& options);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONVERT_DECODE_H_
