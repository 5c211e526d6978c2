// The label of a payload: the JSON file next to it that says what it is (docs/payloads.md).
#ifndef OVIX_TOOL_CONTRACTS_LABEL_H_
#define OVIX_TOOL_CONTRACTS_LABEL_H_

#include <cstdint>
#include <optional>
#include <string>

namespace ovix::tool {

// Strings are empty where the label has no such key, or not as a string.
struct Label {
  std::string gun;  // never empty
  std::string version;
  std::string message;            // full name
  std::string payload;            // the other file's name
  std::string sha256;             // of the other file, in hexadecimal
  std::optional<uint64_t> bytes;  // of the other file
  std::string device;             // a pseudonym
  std::string created;            // RFC 3339
  std::optional<uint64_t> sequence;
  std::string id;  // the payload's own
};

// Throws Error where the file cannot be read, or is not a JSON object with a gun, each key
// once.
Label ReadLabel(const std::string& file);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONTRACTS_LABEL_H_
