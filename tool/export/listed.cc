#include "export/listed.h"

#include <charconv>
#include <cstdint>

namespace ovix::tool {

std::string PlainNumber(std::string_view digits) {
  const bool is_negative = digits.starts_with('-');
  digits.remove_prefix(is_negative ? 1 : 0);
  while (digits.size() > 1 && digits.front() == '0') digits.remove_prefix(1);
  return (is_negative && digits != "0" ? "-" : "") + std::string(digits);
}

void WriteListed(JsonWriter& json, const FieldDescriptor* field, const std::string& value,
                 bool is_text) {
  if (!IsNumber(field)) {
    json.Value(value);
  } else if (is_text) {
    json.Value(PlainNumber(value));
  } else {
    json.Number(PlainNumber(value));
  }
}

std::vector<std::pair<std::string, std::string>> MeaningsOf(const FieldDescriptor* field,
                                                            const FieldFacts& facts) {
  std::vector<std::pair<std::string, std::string>> meanings;
  for (const std::string& value : facts.listed_values) {
    const auto found = facts.meanings.find(value);
    if (found == facts.meanings.end()) continue;
    meanings.emplace_back(IsNumber(field) ? PlainNumber(value) : value, found->second);
  }
  return meanings;
}

std::string AllFlags(const FieldFacts& facts) {
  uint64_t all = 0;
  for (const std::string& listed : facts.listed_values) {
    uint64_t flag = 0;
    std::from_chars(listed.data(), listed.data() + listed.size(), flag);
    all |= flag;
  }
  return std::to_string(all);
}

}  // namespace ovix::tool
