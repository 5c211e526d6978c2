#include "collectors/text.h"

#include <algorithm>
#include <charconv>

namespace ovix::agent {

std::map<std::string, std::string> Fields(const std::string& text) {
  std::map<std::string, std::string> fields;
  for (const std::string& line : Split(text, "\n")) {
    const size_t colon = line.find(':');
    if (colon == std::string::npos || line[0] == ' ') continue;
    fields[Trimmed(line.substr(0, colon))] = Trimmed(line.substr(colon + 1));
  }
  return fields;
}

std::string Trimmed(const std::string& text) {
  const char* spaces = " \t\r\n";
  const size_t first = text.find_first_not_of(spaces);
  if (first == std::string::npos) return "";
  return text.substr(first, text.find_last_not_of(spaces) - first + 1);
}

uint32_t ToNumber(const std::string& text) {
  uint32_t number = 0;
  const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
  return result.ec == std::errc() ? number : 0;
}

std::vector<std::string> Split(const std::string& text, const std::string& separator) {
  std::vector<std::string> parts;
  for (size_t begin = 0; begin < text.size();) {
    const size_t end = std::min(text.find(separator, begin), text.size());
    parts.push_back(text.substr(begin, end - begin));
    begin = end + separator.size();
  }
  return parts;
}

}  // namespace ovix::agent
