#include "collectors/machine.h"

#include <algorithm>
#include <charconv>
#include <chrono>
#include <fstream>
#include <iterator>

#include "store/json.h"
#include "store/time.h"

namespace ovix::agent {

std::filesystem::path Machine::Under(const std::string& path) const {
  return root_ / std::filesystem::path(path).relative_path();
}

bool Machine::Has(const std::string& path) const {
  std::error_code ignored;
  return std::filesystem::exists(Under(path), ignored);
}

std::string Machine::Bytes(const std::string& path) const {
  // Read in pieces: files of /proc and /sys tell no size.
  std::ifstream file(Under(path), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string Machine::Read(const std::string& path) const {
  std::string text = Bytes(path);
  if (!IsUtf8(text)) {
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return c >= 0x80; }, '?');
  }
  return text;
}

std::string Machine::Line(const std::string& path) const {
  const std::string text = Read(path);
  return Trimmed(text.substr(0, text.find('\n')));
}

uint32_t Machine::Number(const std::string& path) const { return ToNumber(Line(path)); }

std::vector<std::string> Machine::List(const std::string& path) const {
  std::vector<std::string> names;
  std::error_code ignored;
  for (const auto& entry : std::filesystem::directory_iterator(Under(path), ignored)) {
    names.push_back(entry.path().filename().string());
  }
  std::sort(names.begin(), names.end());
  return names;
}

std::string Machine::LinkName(const std::string& path) const {
  std::error_code ignored;
  return std::filesystem::read_symlink(Under(path), ignored).filename().string();
}

std::map<std::string, std::string> Machine::Assignments(const std::string& path) const {
  std::map<std::string, std::string> values;
  for (const std::string& line : Split(Read(path), "\n")) {
    const size_t equals = line.find('=');
    if (equals == std::string::npos || line[0] == '#') continue;
    std::string value = Trimmed(line.substr(equals + 1));
    if (value.size() >= 2 && value.front() == value.back() &&
        (value.front() == '"' || value.front() == '\'')) {
      value = value.substr(1, value.size() - 2);
    }
    values[Trimmed(line.substr(0, equals))] = value;
  }
  return values;
}

std::string Machine::Modified(const std::string& path) const {
  std::error_code error;
  const auto time = std::filesystem::last_write_time(Under(path), error);
  if (error) return "";
  return TimeText(std::chrono::time_point_cast<std::chrono::system_clock::duration>(
      std::chrono::file_clock::to_sys(time)));
}

std::map<std::string, std::string> Fields(const std::string& text) {
  std::map<std::string, std::string> fields;
  std::string key;
  for (const std::string& line : Split(text, "\n")) {
    const size_t colon = line.find(':');
    if (!line.empty() && line[0] == ' ') {
      if (!key.empty()) fields[key] += "\n" + Trimmed(line);
    } else if (colon != std::string::npos) {
      key = Trimmed(line.substr(0, colon));
      fields[key] = Trimmed(line.substr(colon + 1));
    }
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
