#include "convert/text_problem.h"

#include <algorithm>
#include <string_view>
#include <vector>

#include "contracts/names.h"
#include "convert/unknown_text.h"
#include "json/fields.h"

namespace ovix::tool {
namespace {

constexpr size_t kLongestShown = 40;

// Where in the text a place of TextFormat is.
size_t OffsetOf(std::string_view text, size_t line, size_t column) {
  size_t at = 0;
  for (; line > 0; --line) {
    const size_t end = text.find('\n', at);
    if (end == std::string_view::npos) return text.size();
    at = end + 1;
  }
  for (size_t reached = 0; reached < column && at < text.size() && text[at] != '\n'; ++at) {
    reached += text[at] == '\t' ? 8 - reached % 8 : 1;
  }
  return at;
}

// The word or quoted text that begins here, its beginning where it is long.
std::string TokenAt(std::string_view text, size_t at) {
  const std::string_view rest = text.substr(at);
  if (rest.empty()) return "the end of the input";
  size_t end = rest.find_first_of(" \t\r\n,;:{}[]<>#");
  if (rest[0] == '"' || rest[0] == '\'') {
    const size_t quote = rest.find(rest[0], 1);
    end = quote == std::string_view::npos ? quote : quote + 1;
  }
  end = std::min({std::max<size_t>(end, 1), rest.find('\n'), rest.size()});
  size_t size = std::min(end, kLongestShown);
  while (size < end && size > 1 && (static_cast<unsigned char>(rest[size]) & 0xc0) == 0x80) --size;
  return std::string(rest.substr(0, size)) + (size < end ? "..." : "");
}

// The text between the first two quotes after this; empty without them.
std::string QuotedAfter(const std::string& what, const std::string& before) {
  const size_t begin = what.find(before + "\"");
  if (begin == std::string::npos) return "";
  const size_t word = begin + before.size() + 1;
  return what.substr(word, what.find('"', word) - word);
}

// How a value is written; text format differs from JSON in these.
std::string TextForm(const FieldDescriptor* field) {
  const auto type = field->cpp_type();
  if (type == FieldDescriptor::CPPTYPE_FLOAT || type == FieldDescriptor::CPPTYPE_DOUBLE) {
    return "write a number of its range, nan, inf or -inf";
  }
  if (field->type() == FieldDescriptor::TYPE_BYTES) return "write text in double quotes";
  return JsonForm(field);
}

bool IsOfValue(const std::string& what) {
  constexpr std::string_view kBegins[] = {"Expected integer",         "Integer out of range",
                                          "Expected string",          "Expected identifier",
                                          "Expected double",          "Unknown enumeration value",
                                          "Invalid value for boolean"};
  return std::any_of(std::begin(kBegins), std::end(kBegins),
                     [&](std::string_view begin) { return what.starts_with(begin); });
}

}  // namespace

TextProblem ExplainText(std::string text, const Descriptor* message, size_t line, size_t column,
                        const std::string& what) {
  size_t at = OffsetOf(text, line, column);
  // Of a word that was read TextFormat gives the place of the next.
  const std::string unknown = QuotedAfter(what, "has no field named ");
  const std::string value = QuotedAfter(what, what.starts_with("Unknown enumeration value")
                                                  ? "Unknown enumeration value of "
                                                  : "Value: ");
  for (const std::string& word : {unknown, value}) {
    const size_t found = word.empty() ? std::string::npos : text.rfind(word, at);
    if (found != std::string::npos) at = found;
  }
  TextProblem problem;
  problem.line = static_cast<size_t>(
      std::count(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(at), '\n'));
  problem.column = at - (at == 0 ? 0 : text.rfind('\n', at - 1) + 1);
  const std::string token = TokenAt(text, at);
  const UnknownText read(text, message, at);
  const FieldDescriptor* field = read.watched_field();
  const Descriptor* holder = read.watched_message();
  if (!unknown.empty()) {
    problem.what = holder->full_name() + ": has no field \"" + unknown + "\"" +
                   FieldSuggestion(holder, unknown);
  } else if (field != nullptr && IsOfValue(what)) {
    problem.what = field->full_name() + ": " + token + " is not of type " + JsonTypeName(field) +
                   Fix(field, token, TextForm(field));
  } else {
    problem.what = (field != nullptr ? field->full_name() : holder->full_name()) + ": " + what;
  }
  return problem;
}

}  // namespace ovix::tool
