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
  std::optional<std::string> key_file;  // texts of these classes are hashed under this key
};

// Whether the input holds fields that the contracts do not know and JSON left out; standard error
// names them. Throws Error, with nothing written to a file.
bool Decode(const Decoding& options);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONVERT_DECODE_H_
