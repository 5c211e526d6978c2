#include "lint/almost_facts.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "contracts/comment.h"
#include "contracts/facts.h"
#include "terminal/file_names.h"

namespace ovix::tool::lint {
namespace {

bool IsWordCharacter(char c) {
  return c == '_' || (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z');
}

std::string_view WithoutSpaceBefore(std::string_view text) {
  return text.substr(std::min(text.find_first_not_of(" \t\r\f\v"), text.size()));
}

// Whether a line begins with the key, in any case, and one of its values follows.
bool IsKeyAndValue(std::string_view line, std::string_view key) {
  if (line.size() <= key.size() || WithoutCase(line.substr(0, key.size())) != WithoutCase(key)) {
    return false;
  }
  std::string_view value = WithoutSpaceBefore(line.substr(key.size()));
  if (value.starts_with(':') || value.starts_with('=')) {
    value = WithoutSpaceBefore(value.substr(1));
  } else if (value.size() + key.size() == line.size()) {
    return false;  // a longer word
  }
  const auto is_value = [&](std::string_view text) {
    FieldFacts read;
    return key == "Source" ? text == "none"
                           : ReadFact({std::string(key), std::string(text), 0}, read);
  };
  return is_value(value) || (value.ends_with('.') && is_value(value.substr(0, value.size() - 1)));
}

}  // namespace

bool HasKey(std::string_view text) {
  return std::any_of(std::begin(kFactKeys), std::end(kFactKeys), [&](std::string_view key) {
    for (size_t at = text.find(key); at != std::string_view::npos; at = text.find(key, at + 1)) {
      const std::string_view rest = WithoutSpaceBefore(text.substr(at + key.size()));
      const bool is_word = at == 0 || !IsWordCharacter(text[at - 1]);
      if (is_word && (rest.starts_with(':') || rest.starts_with('='))) return true;
    }
    return false;
  });
}

bool LooksLikeFact(std::string_view line) {
  if (HasKey(line)) return true;
  if (!line.empty() && std::string_view("-@*").find(line[0]) != std::string_view::npos) {
    line = WithoutSpaceBefore(line.substr(1));
  }
  return std::any_of(std::begin(kFactKeys), std::end(kFactKeys),
                     [&](std::string_view key) { return IsKeyAndValue(line, key); });
}

}  // namespace ovix::tool::lint
