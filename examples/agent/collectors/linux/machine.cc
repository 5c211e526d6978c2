#include "collectors/linux/machine.h"

#include <algorithm>
#include <chrono>
#include <fstream>
#include <iterator>

#include "collectors/text.h"
#include "store/time.h"

namespace ovix::agent {
namespace {

// As the system has the name; on Windows, whose names are UTF-16, in UTF-8.
std::string Utf8(const std::filesystem::path& name) {
  const std::u8string text = name.u8string();
  return {text.begin(), text.end()};
}

}  // namespace

std::filesystem::path Machine::Under(const std::string& path) const {
  return root_ / std::filesystem::path(std::u8string(path.begin(), path.end())).relative_path();
}

bool Machine::Has(const std::string& path) const {
  std::error_code ignored;
  return std::filesystem::exists(Under(path), ignored);
}

std::string Machine::Read(const std::string& path) const {
  // Read in pieces: files of /proc and /sys report no size.
  std::ifstream file(Under(path), std::ios::binary);
  return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

std::string Machine::Line(const std::string& path) const {
  const std::string text = Read(path);
  return Trimmed(text.substr(0, text.find('\n')));
}

uint32_t Machine::Number(const std::string& path) const { return ToNumber(Line(path)); }

std::optional<std::vector<std::string>> Machine::TryList(const std::string& path) const {
  std::vector<std::string> names;
  std::error_code error;
  std::filesystem::directory_iterator entry(Under(path), error);
  for (; !error && entry != std::filesystem::directory_iterator(); entry.increment(error)) {
    names.push_back(Utf8(entry->path().filename()));
  }
  if (error) return std::nullopt;
  std::sort(names.begin(), names.end());
  return names;
}

std::string Machine::LinkName(const std::string& path) const {
  std::error_code ignored;
  return Utf8(std::filesystem::read_symlink(Under(path), ignored).filename());
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

}  // namespace ovix::agent
