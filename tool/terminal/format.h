// How listings are printed: a table for people, JSON and CSV for programs.
#ifndef OVIX_TOOL_TERMINAL_FORMAT_H_
#define OVIX_TOOL_TERMINAL_FORMAT_H_

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace ovix::tool {

enum class Format { kTable, kJson, kCsv };

// Text in a terminal's colours, or unchanged.
enum class Style { kHeading, kName, kQuiet, kBad, kGood };
std::string Styled(std::string_view text, Style style, bool colour);

// The text as one line that drives no terminal: spaces in place of control characters.
std::string OneLine(std::string text);

// "1 finding", "2 findings".
std::string Count(uint64_t number, const std::string& noun);

// Columns that the text takes on a terminal; UTF-8 counts by character.
size_t WidthOf(std::string_view text);
// Breaks the text at spaces so that no line is wider, words longer than that excepted, and puts
// `indent` spaces before each line; paragraphs stay apart.
std::string Wrapped(std::string_view text, size_t width, size_t indent);

// A table with a heading: columns aligned, those named in `right` to the right.
class TextTable {
 public:
  explicit TextTable(std::vector<std::string> heading, std::vector<size_t> right = {});
  void Add(std::vector<std::string> row);
  std::string Print(bool colour) const;

 private:
  std::vector<std::vector<std::string>> rows_;
  std::vector<size_t> right_;
};

// One line of CSV (RFC 4180): cells with a comma, quote or line end are quoted; ends in CR LF.
std::string CsvLine(const std::vector<std::string>& cells);

// The text for HTML and XML, where it may also be a value in double quotes.
std::string Escaped(std::string_view text);

// Writes JSON, two spaces an indent, keys in the order in which they are written.
class JsonWriter {
 public:
  JsonWriter& BeginObject() { return Begin('{'); }
  JsonWriter& EndObject() { return End('}'); }
  JsonWriter& BeginArray() { return Begin('['); }
  JsonWriter& EndArray() { return End(']'); }
  JsonWriter& Key(std::string_view key);
  JsonWriter& Value(std::string_view text);
  JsonWriter& Value(const char* text) { return Value(std::string_view(text)); }
  JsonWriter& Value(int64_t number) { return Raw(std::to_string(number)); }
  JsonWriter& Value(uint32_t number) { return Raw(std::to_string(number)); }
  JsonWriter& Value(int number) { return Raw(std::to_string(number)); }
  JsonWriter& Value(bool value) { return Raw(value ? "true" : "false"); }
  JsonWriter& Null() { return Raw("null"); }
  // A number in JSON's own digits, of any size.
  JsonWriter& Number(std::string_view digits) { return Raw(std::string(digits)); }
  template <typename AnyValue>
  JsonWriter& Add(std::string_view key, const AnyValue& value) {
    return Key(key).Value(value);
  }
  JsonWriter& Add(std::string_view key, const std::vector<std::string>& texts);

  // The text so far, with a line end.
  std::string Text() const { return text_ + "\n"; }
  // The text so far, which is forgotten: what follows goes on after it.
  std::string Take() { return std::exchange(text_, {}); }

 private:
  JsonWriter& Begin(char bracket);
  JsonWriter& End(char bracket);
  JsonWriter& Raw(const std::string& value);
  void Place();

  std::string text_;
  size_t depth_ = 0;
  bool is_first_ = true;
  bool follows_key_ = false;
};

// The text as a JSON string, quotes included.
std::string JsonText(std::string_view text);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_FORMAT_H_
