// What is wrong with input in protobuf's text format, in the words of the schema.
#ifndef OVIX_TOOL_CONVERT_TEXT_PROBLEM_H_
#define OVIX_TOOL_CONVERT_TEXT_PROBLEM_H_

#include <google/protobuf/descriptor.h>

#include <cstddef>
#include <string>

namespace ovix::tool {

struct TextProblem {
  size_t line = 0;    // from 0
  size_t column = 0;  // from 0, in bytes
  std::string what;   // with the full name of the field or message, and the fix
};

// `line`, `column` and `what` are those of TextFormat's error: from 0, a tab up to the next
// multiple of eight, and in words of C++.
TextProblem ExplainText(std::string text, const google::protobuf::Descriptor* message, size_t line,
                        size_t column, const std::string& what);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONVERT_TEXT_PROBLEM_H_
