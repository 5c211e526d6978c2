// The limits of a table, in words.
#ifndef OVIX_TOOL_CONTRACTS_LIMITS_H_
#define OVIX_TOOL_CONTRACTS_LIMITS_H_

#include <string>

#include "contracts/contracts.h"

namespace ovix::tool {

// "10000 rows, 180 days, 128 MB in all"; "-" without limits. The megabytes are those of the whole
// database.
inline std::string LimitsText(const TableOptions& table, uint32_t database_max_size_mb) {
  std::string text;
  const auto add = [&](uint32_t limit, const char* unit) {
    if (limit != 0) text += (text.empty() ? "" : ", ") + std::to_string(limit) + unit;
  };
  add(table.max_rows, " rows");
  add(table.max_time_days, " days");
  add(database_max_size_mb, " MB in all");
  return text.empty() ? "-" : text;
}

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONTRACTS_LIMITS_H_
