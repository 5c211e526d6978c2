#include "tool/comment.h"

#include <algorithm>

namespace ovix::tool {
namespace {

constexpr std::string_view kMark = "Source: ";

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

}  // namespace

Comment ParseComment(std::string_view raw) {
  Comment comment;
  bool goes_on = false;
  ForEachLine(raw, [&](std::string_view line) {
    const std::string_view words = WithoutSpace(line);
    if (words.starts_with(kMark)) {
      const size_t comma = words.find(", ");
      Source source;
      source.name = words.substr(kMark.size(), std::min(comma, words.size()) - kMark.size());
      if (comma != std::string_view::npos) source.words = words.substr(comma + 2);
      comment.sources.push_back(std::move(source));
      goes_on = true;
    } else if (words.empty()) {
      goes_on = false;
      if (comment.sources.empty()) comment.text += '\n';
    } else if (goes_on) {
      comment.sources.back().words.append(" ").append(words);
    } else if (!comment.sources.empty()) {
      if (comment.misplaced.empty()) comment.misplaced = words;
    } else {
      // One space stands between the slashes and the text.
      line.remove_prefix(line.starts_with(' ') ? 1 : 0);
      comment.text.append(line.substr(0, line.find_last_not_of(" \t\r") + 1)).append("\n");
    }
  });
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
