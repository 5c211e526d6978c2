#include "contracts/names.h"

#include <algorithm>

#include "terminal/error.h"

namespace ovix::tool {
namespace {

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

// Edits that make one of the other, without regard to case.
size_t Distance(const std::string& a, const std::string& b) {
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = diagonal + (Lower(a[i - 1]) == Lower(b[j - 1]) ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

bool IsEndOf(const std::string& name, const std::string& full_name) {
  return full_name == name || full_name.ends_with("." + name);
}

std::string JoinedByOr(const std::vector<std::string>& names) {
  std::string joined;
  for (size_t i = 0; i < names.size(); ++i) {
    if (i != 0) joined += i + 1 == names.size() ? " or " : ", ";
    joined += names[i];
  }
  return joined;
}

}  // namespace

std::vector<std::string> Nearest(const std::string& name, const std::vector<std::string>& known) {
  std::vector<std::pair<size_t, std::string>> near;
  for (const std::string& candidate : known) {
    const size_t distance = Distance(name, candidate);
    if (distance <= std::max<size_t>(2, name.size() / 4)) near.emplace_back(distance, candidate);
  }
  std::sort(near.begin(), near.end());
  near.erase(std::unique(near.begin(), near.end()), near.end());
  std::vector<std::string> names;
  for (const auto& [distance, candidate] : near) {
    if (names.size() < 3) names.push_back(candidate);
  }
  return names;
}

std::string Suggestion(const std::string& name, const std::vector<std::string>& known) {
  const auto near = Nearest(name, known);
  return near.empty() ? "" : "; is it " + JoinedByOr(near) + "?";
}

Named FindNamed(const Contracts& contracts, const std::string& name) {
  std::vector<Named> found;
  std::vector<std::string> full_names;
  std::vector<std::string> known;
  const auto consider = [&](const auto* descriptor, const Named& named) {
    const std::string& full_name = descriptor->full_name();
    if (full_name == name) {
      found = {named};
      full_names = {full_name};
      return true;
    }
    if (IsEndOf(name, full_name)) {
      found.push_back(named);
      full_names.push_back(full_name);
    }
    // A message inside another is known by either name.
    known.push_back(descriptor->name());
    if (ShortName(descriptor) != descriptor->name()) known.push_back(ShortName(descriptor));
    if (name.find('.') != std::string::npos) known.push_back(full_name);
    return false;
  };
  for (const Descriptor* message : contracts.messages()) {
    if (consider(message, {message, nullptr})) break;
  }
  for (const EnumDescriptor* enumeration : contracts.enums()) {
    if (consider(enumeration, {nullptr, enumeration})) break;
  }
  if (found.size() > 1) {
    throw Error(name + ": is ambiguous; write " + JoinedByOr(full_names));
  }
  if (found.empty()) {
    const std::string suggestion = Suggestion(name, known);
    throw Error(name + ": no contract has this name" +
                (suggestion.empty() ? "; `ovix-contracts list` shows them all" : suggestion));
  }
  return found.front();
}

const Descriptor* FindMessage(const Contracts& contracts, const std::string& name) {
  const Named named = FindNamed(contracts, name);
  if (named.message == nullptr) {
    throw Error(name + ": is an enumeration; name a message");
  }
  return named.message;
}

bool MatchesGlob(std::string_view text, std::string_view pattern) {
  size_t t = 0, p = 0;
  size_t star = std::string_view::npos, star_text = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      star_text = t;
    } else if (p < pattern.size() && (pattern[p] == '?' || Lower(pattern[p]) == Lower(text[t]))) {
      ++p;
      ++t;
    } else if (star != std::string_view::npos) {
      // The last star takes one character more.
      p = star + 1;
      t = ++star_text;
    } else {
      return false;
    }
  }
  while (p < pattern.size() && pattern[p] == '*') ++p;
  return p == pattern.size();
}

}  // namespace ovix::tool
