#include "json/text.h"

#include <algorithm>

#include "terminal/error.h"

namespace ovix::tool {
namespace {

constexpr size_t kLongestShown = 40;

}  // namespace

JsonText::JsonText(std::string_view text, const std::string& input, uint64_t first_line)
    : text_(text), input_(&input), first_line_(first_line), invalid_(FindInvalidUtf8(text)) {}

size_t JsonText::TokenAfter(size_t end) const {
  return std::min(text_.find_first_not_of(" \t\r\n:,", end), text_.size());
}

std::string JsonText::Shown(size_t begin, size_t end) const {
  const std::string_view piece = text_.substr(begin, end - begin);
  if (piece.size() <= kLongestShown) return std::string(piece);
  size_t size = kLongestShown;
  while (size > 0 && (static_cast<unsigned char>(piece[size]) & 0xc0) == 0x80) --size;
  return std::string(piece.substr(0, size)) + "...";
}

void JsonText::Fail(size_t at, const std::string& where, const std::string& what) const {
  const size_t place = std::min(at, invalid_);
  const std::string_view before = text_.substr(0, place);
  const auto lines = static_cast<uint64_t>(std::count(before.begin(), before.end(), '\n'));
  const size_t line_begin = before.rfind('\n') + 1;  // 0 in the first line
  throw Error(*input_ + ":" + std::to_string(first_line_ + lines) + ":" +
              std::to_string(place - line_begin + 1) + ": " + where + ": " +
              (place == at ? what : "text that is not UTF-8; save the file as UTF-8"));
}

}  // namespace ovix::tool
