#include "terminal/file_names.h"

#include <algorithm>

namespace ovix::tool {

std::string WithoutCase(std::string_view name) {
  std::string lower(name);
  for (char& c : lower) c = c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
  return lower;
}

bool IsDevice(std::string_view name) {
  const std::string stem = WithoutCase(name.substr(0, name.find('.')));
  if (stem.size() == 4 && (stem.starts_with("com") || stem.starts_with("lpt"))) {
    return stem[3] >= '1' && stem[3] <= '9';
  }
  return stem == "con" || stem == "prn" || stem == "aux" || stem == "nul";
}

bool IsPlainFileName(std::string_view name) {
  const auto is_plain = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_' ||
           c == '-';
  };
  return !name.empty() && std::all_of(name.begin(), name.end(), is_plain) && !IsDevice(name);
}

}  // namespace ovix::tool
