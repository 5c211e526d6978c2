#include "export/listed.h"

#include <charconv>
#include <cstdint>

namespace ovix::tool {

void WriteListed(JsonWriter& json, const FieldDescriptor* field, const std::string& value,
                 bool is_text) {
  if (!IsNumber(field) || is_text) {
    json.Value(value);
  } else {
    json.Number(value);
  }
}

std::vector<std::pair<std::string, std::string>> MeaningsOf(const FieldFacts& facts) {
  std::vector<std::pair<std::string, std::string>> meanings;
  for (const std::string& value : facts.listed_values) {
    const auto found = facts.meanings.find(value);
    if (found == facts.meanings.end()) continue;
    meanings.emplace_back(value, found->second);
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
