#include "contracts/comment.h"

#include <algorithm>
#include <iterator>
#include <string>

#include "terminal/file_names.h"

namespace ovix::tool {
namespace {

// Calls `visit` with each line, without its end.
template <typename Visit>
void ForEachLine(std::string_view text, const Visit& visit) {
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    visit(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
  }
}

std::string_view WithoutSpace(std::string_view line) {
  const size_t first = line.find_first_not_of(" \t\r");
  if (first == std::string_view::npos) return "";
  return line.substr(first, line.find_last_not_of(" \t\r") - first + 1);
}

// Whether a word is a key but for capital letters.
bool IsLikeKey(std::string_view word) {
  const std::string lower = WithoutCase(word);
  return std::any_of(std::begin(kFactKeys), std::end(kFactKeys),
                     [&](std::string_view key) { return WithoutCase(key) == lower; });
}

// The key of a line "KEY: value" or "KEY:"; empty for prose. A key is one capitalised word. A word
// that differs from one in capital letters alone is taken for it, to be reported as unknown.
std::string_view KeyOf(std::string_view words) {
  const size_t colon = words.find(':');
  if (colon == std::string_view::npos || colon == 0) return "";
  const std::string_view key = words.substr(0, colon);
  if (IsLikeKey(key)) return key;
  if (colon + 1 < words.size() && words[colon + 1] != ' ') return "";
  const auto is_lower = [](char c) { return c >= 'a' && c <= 'z'; };
  if (key[0] < 'A' || key[0] > 'Z') return "";
  return std::all_of(key.begin() + 1, key.end(), is_lower) ? key : "";
}

Source SourceOf(const std::string& value) {
  const size_t comma = value.find(", ");
  if (comma == std::string::npos) return {value, ""};
  return {value.substr(0, comma), value.substr(comma + 2)};
}

}  // namespace

bool BeginsWith(std::string_view text, std::initializer_list<std::string_view> words) {
  const auto is_word = [](char c) {
    return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '_';
  };
  return std::any_of(words.begin(), words.end(), [&](std::string_view begin) {
    return text.starts_with(begin) && (text.size() == begin.size() || !is_word(text[begin.size()]));
  });
}

Comment ParseComment(std::string_view raw) {
  Comment comment;
  bool goes_on = false;
  int number = -1;
  ForEachLine(raw, [&](std::string_view line) {
    ++number;
    const std::string_view words = WithoutSpace(line);
    comment.lines.emplace_back(words);
    const bool is_indented = line.starts_with("  ");
    if (const std::string_view key = KeyOf(words); !key.empty() && !is_indented) {
      const std::string_view value = WithoutSpace(words.substr(key.size() + 1));
      comment.facts.push_back({std::string(key), std::string(value), number});
      goes_on = true;
    } else if (words.empty()) {
      goes_on = false;
      if (comment.facts.empty() && !comment.text.empty()) comment.text += '\n';
    } else if (goes_on) {
      std::string& value = comment.facts.back().value;
      value.append(value.empty() ? "" : " ").append(words);
    } else if (!comment.facts.empty()) {
      if (!comment.misplaced.empty()) return;
      comment.misplaced = words;
      comment.misplaced_line = number;
    } else {
      // One space is between the slashes and the text.
      line.remove_prefix(line.starts_with(' ') ? 1 : 0);
      comment.text.append(line.substr(0, line.find_last_not_of(" \t\r") + 1)).append("\n");
    }
  });
  for (const Fact& fact : comment.facts) {
    if (fact.key == "Source") comment.sources.push_back(SourceOf(fact.value));
  }
  while (comment.text.ends_with('\n')) comment.text.pop_back();
  return comment;
}

std::string Reflowed(std::string_view text) {
  std::string reflowed;
  bool joins = false;
  ForEachLine(text, [&](std::string_view line) {
    const bool stands = line.empty() || line.starts_with(' ') || line.starts_with('\t');
    if (!reflowed.empty()) reflowed += joins && !stands ? ' ' : '\n';
    reflowed += line;
    joins = !stands;
  });
  return reflowed;
}

std::string FirstSentence(std::string_view text) {
  std::string sentence = Reflowed(text);
  sentence.resize(std::min(sentence.find('\n'), sentence.size()));
  for (size_t dot = sentence.find(". "); dot != std::string::npos;
       dot = sentence.find(". ", dot + 1)) {
    // A capital begins the next sentence; "e.g. like this" goes on.
    if (dot + 2 < sentence.size() && sentence[dot + 2] >= 'A' && sentence[dot + 2] <= 'Z') {
      sentence.resize(dot + 1);
      break;
    }
  }
  return sentence;
}

}  // namespace ovix::tool
