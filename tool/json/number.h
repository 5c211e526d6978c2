// The text of a JSON number as a number of a field's type, exactly or not at all.
#ifndef OVIX_TOOL_JSON_NUMBER_H_
#define OVIX_TOOL_JSON_NUMBER_H_

#include <concepts>
#include <optional>
#include <string_view>

namespace ovix::tool {

// Nothing where the text is not a JSON number, has a fraction other than zero, or is out of range.
// An exponent is allowed: 1.5e3 is 1500. Number is int32_t, int64_t, uint32_t or uint64_t.
template <std::integral Number>
std::optional<Number> ReadInteger(std::string_view text);

// Nothing where the text is not a JSON number, or is too large. What lies between two numbers
// becomes the nearer one. Number is float or double.
template <std::floating_point Number>
std::optional<Number> ReadFloating(std::string_view text);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_JSON_NUMBER_H_
