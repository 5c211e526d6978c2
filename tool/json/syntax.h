// What is wrong with input that is not JSON, in words.
#ifndef OVIX_TOOL_JSON_SYNTAX_H_
#define OVIX_TOOL_JSON_SYNTAX_H_

#include <rapidjson/error/error.h>

#include <cstddef>
#include <string>
#include <string_view>

namespace ovix::tool {

struct JsonProblem {
  size_t at = 0;     // where in the text
  std::string what;  // with the fix
};

// `code` and `at` are the parser's, `end` is the end of the token before; `form` says how a value
// is written that belongs there ("write true or false").
JsonProblem ExplainSyntax(rapidjson::ParseErrorCode code, size_t at, std::string_view text,
                          size_t end, const std::string& form);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_JSON_SYNTAX_H_
