// Input that is read as JSON: what an error says of a place in it.
#ifndef OVIX_TOOL_JSON_TEXT_H_
#define OVIX_TOOL_JSON_TEXT_H_

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "wire/utf8.h"

namespace ovix::tool {

class JsonText {
 public:
  JsonText() = default;
  // Errors call the text `input`; its first line has the number `first_line` there. Both strings
  // must outlive this one.
  JsonText(std::string_view text, const std::string& input, uint64_t first_line);

  std::string_view all() const { return text_; }
  // Whether the text before this place is UTF-8.
  bool IsUtf8Before(size_t end) const { return invalid_ >= end; }
  // Where the next token begins after the end of another: only spaces, colons and commas are
  // between.
  size_t TokenAfter(size_t end) const;
  // A piece of the text for an error: its beginning, where it is long.
  std::string Shown(size_t begin, size_t end) const;

  // Throws Error: input, line and column (from 1, in bytes), the field or message, the problem with
  // its fix. A byte before this place that is not UTF-8 is reported instead.
  [[noreturn]] void Fail(size_t at, const std::string& where, const std::string& what) const;

 private:
  std::string_view text_;
  const std::string* input_ = nullptr;
  uint64_t first_line_ = 1;
  size_t invalid_ = std::string_view::npos;  // the first byte that is not UTF-8
};

}  // namespace ovix::tool

#endif  // OVIX_TOOL_JSON_TEXT_H_
