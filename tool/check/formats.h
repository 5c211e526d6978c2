// The formats of docs/contracts.md, and whether a string has them.
#ifndef OVIX_TOOL_CHECK_FORMATS_H_
#define OVIX_TOOL_CHECK_FORMATS_H_

#include <string_view>

namespace ovix::tool {

// Whether the text has the format that a fact names. True for "unspecified" and for what is not the
// name of a format.
bool HasFormat(std::string_view text, std::string_view format);

// Whether the text is a time as a table's `time` has it: RFC 3339 in UTC with milliseconds,
// and not in a leap second.
bool IsRowTime(std::string_view text);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CHECK_FORMATS_H_
