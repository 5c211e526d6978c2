#include "export/patterns.h"

#include <cstdint>
#include <limits>

namespace ovix::tool {
namespace {

using google::protobuf::FieldDescriptor;

std::string Class(char first, char last) {
  if (first == last) return {first};
  return std::string("[") + first + "-" + last + "]";
}

std::string Digits(size_t count) {
  if (count == 0) return "";
  return "[0-9]" + (count == 1 ? std::string() : "{" + std::to_string(count) + "}");
}

// The numbers from 1 to `most`: those of fewer digits, then those of as many that have a smaller
// digit where the other digits before are the same, then the number itself.
std::string UpTo(uint64_t most) {
  const std::string digits = std::to_string(most);
  std::string pattern;
  if (digits.size() > 1) {
    pattern = "[1-9]";
    if (digits.size() > 2) pattern += "[0-9]{0," + std::to_string(digits.size() - 2) + "}";
    pattern += "|";
  }
  for (size_t i = 0; i < digits.size(); ++i) {
    const char least = i == 0 ? '1' : '0';
    if (digits[i] == least) continue;
    pattern += digits.substr(0, i) + Class(least, static_cast<char>(digits[i] - 1)) +
               Digits(digits.size() - i - 1) + "|";
  }
  return pattern + digits;
}

template <typename Integer>
std::string PatternOf() {
  constexpr auto kMost = std::numeric_limits<Integer>::max();
  const std::string positive = UpTo(static_cast<uint64_t>(kMost));
  if (std::numeric_limits<Integer>::min() == 0) return "^(?:0|" + positive + ")$";
  return "^(?:0|-?(?:" + positive + ")|" + std::to_string(std::numeric_limits<Integer>::min()) +
         ")$";
}

}  // namespace

std::string IntegerPattern(const FieldDescriptor* field) {
  switch (field->cpp_type()) {
    case FieldDescriptor::CPPTYPE_INT32:
      return PatternOf<int32_t>();
    case FieldDescriptor::CPPTYPE_UINT32:
      return PatternOf<uint32_t>();
    case FieldDescriptor::CPPTYPE_INT64:
      return PatternOf<int64_t>();
    default:
      return PatternOf<uint64_t>();
  }
}

std::string Base64Pattern() {
  return "^(?:[A-Za-z0-9+/]{4})*(?:[A-Za-z0-9+/][AQgw]==|[A-Za-z0-9+/]{2}[AEIMQUYcgkosw048]=)?$";
}

}  // namespace ovix::tool
