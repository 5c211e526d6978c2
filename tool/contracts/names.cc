#include "contracts/names.h"

#include <algorithm>
#include <utility>

#include "terminal/file_names.h"

namespace ovix::tool {
namespace {

// Edits that make one of the other, without regard to case.
size_t Distance(const std::string& first, const std::string& second) {
  const std::string a = WithoutCase(first), b = WithoutCase(second);
  std::vector<size_t> row(b.size() + 1);
  for (size_t j = 0; j <= b.size(); ++j) row[j] = j;
  for (size_t i = 1; i <= a.size(); ++i) {
    size_t diagonal = row[0];
    row[0] = i;
    for (size_t j = 1; j <= b.size(); ++j) {
      const size_t replaced = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
      diagonal = row[j];
      row[j] = std::min({replaced, row[j] + 1, row[j - 1] + 1});
    }
  }
  return row[b.size()];
}

// What nine of ten names begin with, up to a dot.
std::string CommonPrefix(std::vector<std::string> names) {
  if (names.empty()) return "";
  std::sort(names.begin(), names.end());
  std::string prefix = names[names.size() / 2];  // it has every prefix that most have
  const auto is_common = [&] {
    const auto count = std::count_if(names.begin(), names.end(), [&](const std::string& name) {
      return name.starts_with(prefix);
    });
    return 10 * static_cast<size_t>(count) >= 9 * names.size();
  };
  do {
    prefix.erase(prefix.find_last_of('.', prefix.size() - 2) + 1);
  } while (!prefix.empty() && !is_common());
  return prefix;
}

// Whether the word is in the text and reaches into text[begin, end).
bool HasWord(std::string_view text, std::string_view word, size_t begin, size_t end) {
  const std::string lower = WithoutCase(text);
  for (size_t at = lower.find(word); at < end; at = lower.find(word, at + 1)) {
    if (at + word.size() > begin) return true;
  }
  return false;
}

}  // namespace

std::vector<std::string> Nearest(const std::string& name, const std::vector<std::string>& known) {
  std::vector<std::pair<size_t, std::string>> near;
  const size_t most = std::max<size_t>(2, name.size() / 4);
  for (const std::string& candidate : known) {
    // No fewer edits than the difference in length, which is cheaper to see.
    const size_t longer = std::max(name.size(), candidate.size());
    if (longer - std::min(name.size(), candidate.size()) > most) continue;
    // Two edits make any name of two letters of any other: a third of a name must stay.
    const size_t distance = Distance(name, candidate);
    if (distance <= most && 3 * distance <= 2 * longer) near.emplace_back(distance, candidate);
  }
  std::sort(near.begin(), near.end());
  near.erase(std::unique(near.begin(), near.end()), near.end());
  std::vector<std::string> names;
  for (const auto& [distance, candidate] : near) {
    // Of long names many come near; what is not as near as the first was hardly meant.
    if (names.size() < 3 && distance <= near.front().first + 1) names.push_back(candidate);
  }
  return names;
}

std::string Listed(const std::vector<std::string>& names, const std::string& word) {
  std::string listed;
  for (size_t i = 0; i < names.size(); ++i) {
    if (i != 0) listed += i + 1 == names.size() ? " " + word + " " : ", ";
    listed += names[i];
  }
  return listed;
}

std::string Suggestion(const std::string& name, const std::vector<std::string>& known) {
  const auto near = Nearest(name, known);
  return near.empty() ? "" : "; is it " + Listed(near, "or") + "?";
}

bool MatchesGlob(std::string_view any_text, std::string_view any_pattern) {
  const std::string text = WithoutCase(any_text), pattern = WithoutCase(any_pattern);
  size_t t = 0, p = 0;
  size_t star = std::string_view::npos, star_text = 0;
  while (t < text.size()) {
    if (p < pattern.size() && pattern[p] == '*') {
      star = p++;
      star_text = t;
    } else if (p < pattern.size() && (pattern[p] == '?' || pattern[p] == text[t])) {
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

Matcher::Matcher(const Contracts& contracts, std::string pattern) : pattern_(WithoutCase(pattern)) {
  std::vector<std::string> names, guns;
  for (const Descriptor* table : contracts.tables()) names.push_back(table->full_name());
  for (const Descriptor* payload : contracts.payloads()) {
    names.push_back(payload->full_name());
    guns.push_back(PayloadOptionsOf(payload).gun);
  }
  name_prefix_ = CommonPrefix(std::move(names));
  gun_prefix_ = CommonPrefix(std::move(guns));
}

bool Matcher::Matches(const Descriptor* message) const {
  const std::string& name = message->full_name();
  const std::string gun = PayloadOptionsOf(message).gun;
  if (pattern_.find_first_of("*?") != std::string::npos) {
    return MatchesGlob(ShortName(message), pattern_) || MatchesGlob(name, pattern_) ||
           MatchesGlob(gun, pattern_);
  }
  return HasWord(name, pattern_, name.starts_with(name_prefix_) ? name_prefix_.size() : 0,
                 name.size()) ||
         HasWord(gun, pattern_, gun.starts_with(gun_prefix_) ? gun_prefix_.size() : 0,
                 std::min(gun.rfind(".version."), gun.size()));
}

}  // namespace ovix::tool
