// The values that a contract lists, as JSON has them.
#ifndef OVIX_TOOL_EXPORT_LISTED_H_
#define OVIX_TOOL_EXPORT_LISTED_H_

#include <string>
#include <utility>
#include <vector>

#include "contracts/contracts.h"
#include "contracts/facts.h"
#include "terminal/format.h"

namespace ovix::tool {

// Writes a listed value of the field: a string, or a number. `is_text` writes numbers as strings
// too.
void WriteListed(JsonWriter& json, const FieldDescriptor* field, const std::string& value,
                 bool is_text = false);

// The listed values that have a meaning, and it.
std::vector<std::pair<std::string, std::string>> MeaningsOf(const FieldFacts& facts);

// All flags that the facts list together, as a number.
std::string AllFlags(const FieldFacts& facts);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_EXPORT_LISTED_H_
