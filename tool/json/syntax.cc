#include "json/syntax.h"

#include <cctype>

namespace ovix::tool {
namespace {

// What is in the place of a name or a value.
std::string ExplainMissing(bool is_name, std::string_view text, size_t at,
                           const std::string& form) {
  if (text.starts_with("\xef\xbb\xbf")) {
    return "a byte order mark; save the file as UTF-8 without it";
  }
  if (text[at] == '\'') return "single quotes; JSON has double quotes";
  const size_t before = text.substr(0, at).find_last_not_of(" \t\r\n");
  if (before != std::string_view::npos && text[before] == ',' &&
      (text[at] == ']' || text[at] == '}')) {
    return std::string("a comma without anything after it before ") + text[at] + "; remove it";
  }
  return is_name ? "a name in double quotes belongs here" : "a value belongs here; " + form;
}

}  // namespace

JsonProblem ExplainSyntax(rapidjson::ParseErrorCode code, size_t at, std::string_view text,
                          size_t end, const std::string& form) {
  // A word that is not a value fails within, a number that is too large after its last digit.
  const auto is_in_word = [](char c) {
    return std::isalnum(static_cast<unsigned char>(c)) || c == '-' || c == '+' || c == '.';
  };
  if (code == rapidjson::kParseErrorValueInvalid || code == rapidjson::kParseErrorNumberTooBig) {
    while (at > end && is_in_word(text[at - 1])) --at;
  }
  switch (code) {
    case rapidjson::kParseErrorDocumentEmpty:
      // The parser takes a zero byte for the end.
      if (at < text.size()) return {at, ExplainMissing(false, text, at, form)};
      return {at, "the input is empty; a message without values is {}"};
    case rapidjson::kParseErrorDocumentRootNotSingular:
      return {at, "text follows the message; remove it (--delimited reads one message a line)"};
    case rapidjson::kParseErrorNumberTooBig:
      return {at, "the number or its exponent is too large; " + form};
    default:
      break;
  }
  if (at >= text.size()) return {text.size(), "the input ends within the message"};
  switch (code) {
    case rapidjson::kParseErrorValueInvalid:
      return {at, ExplainMissing(false, text, at, form)};
    case rapidjson::kParseErrorObjectMissName:
      return {at, ExplainMissing(true, text, at, form)};
    case rapidjson::kParseErrorObjectMissColon:
      return {at, "a colon belongs between a name and its value"};
    case rapidjson::kParseErrorObjectMissCommaOrCurlyBracket:
      return {at, "a comma or } belongs here"};
    case rapidjson::kParseErrorArrayMissCommaOrSquareBracket:
      return {at, "a comma or ] belongs here"};
    case rapidjson::kParseErrorNumberMissFraction:
    case rapidjson::kParseErrorNumberMissExponent:
      return {at, "a digit belongs here"};
    case rapidjson::kParseErrorStringUnicodeSurrogateInvalid:
      return {at, "half of a surrogate pair is not a character; write both \\u escapes"};
    default:
      break;
  }
  // Within a string.
  if (text[at] == '\\') {
    return {at, R"(JSON has no such escape; write \\ for a backslash, \uXXXX for a character)"};
  }
  return {at, "a line end or control character in text; close the quotes, or write an escape"};
}

}  // namespace ovix::tool
