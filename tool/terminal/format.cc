#include "terminal/format.h"

#include <algorithm>

namespace ovix::tool {

std::string Styled(std::string_view text, Style style, bool colour) {
  if (!colour || text.empty()) return std::string(text);
  const char* code = style == Style::kHeading ? "1"
                     : style == Style::kName  ? "36"
                     : style == Style::kQuiet ? "2"
                     : style == Style::kBad   ? "31"
                                              : "32";
  return "\x1b[" + std::string(code) + "m" + std::string(text) + "\x1b[0m";
}

std::string OneLine(std::string text) {
  for (char& c : text) {
    if (static_cast<unsigned char>(c) < 0x20 || c == 0x7f) c = ' ';
  }
  return text;
}

std::string Count(uint64_t number, const std::string& noun) {
  return std::to_string(number) + " " + noun + (number == 1 ? "" : "s");
}

size_t WidthOf(std::string_view text) {
  return static_cast<size_t>(std::count_if(text.begin(), text.end(), [](char c) {
    return (static_cast<unsigned char>(c) & 0xc0) != 0x80;
  }));
}

std::string Wrapped(std::string_view text, size_t width, size_t indent) {
  const std::string margin(indent, ' ');
  std::string wrapped;
  while (!text.empty()) {
    const size_t end = std::min(text.find('\n'), text.size());
    std::string_view line = text.substr(0, end);
    text.remove_prefix(std::min(end + 1, text.size()));
    // What is indented is drawn, not written.
    const bool is_drawn = line.starts_with(' ');
    std::string out;
    while (!line.empty()) {
      const size_t word_end = is_drawn ? line.size() : std::min(line.find(' '), line.size());
      const std::string_view word = line.substr(0, word_end);
      line.remove_prefix(std::min(word_end + 1, line.size()));
      if (!out.empty() && indent + WidthOf(out) + 1 + WidthOf(word) > width) {
        wrapped += margin + out + "\n";
        out.clear();
      }
      if (!out.empty()) out += ' ';
      out += word;
    }
    wrapped += (out.empty() ? "" : margin + out) + "\n";
  }
  return wrapped;
}

TextTable::TextTable(std::vector<std::string> heading, std::vector<size_t> right)
    : right_(std::move(right)) {
  rows_.push_back(std::move(heading));
}

void TextTable::Add(std::vector<std::string> row) { rows_.push_back(std::move(row)); }

std::string TextTable::Print(bool colour) const {
  std::vector<size_t> widths(rows_.front().size());
  for (const auto& row : rows_) {
    for (size_t i = 0; i < row.size(); ++i) widths[i] = std::max(widths[i], WidthOf(row[i]));
  }
  std::string text;
  for (const auto& row : rows_) {
    std::string line;
    for (size_t i = 0; i < row.size(); ++i) {
      const bool to_the_right = std::find(right_.begin(), right_.end(), i) != right_.end();
      const std::string space(widths[i] - WidthOf(row[i]), ' ');
      if (i != 0) line += "  ";
      if (to_the_right) line += space;
      line += &row == &rows_.front() ? Styled(row[i], Style::kHeading, colour)
              : i == 0               ? Styled(row[i], Style::kName, colour)
                                     : row[i];
      if (!to_the_right && i + 1 < row.size()) line += space;
    }
    line.erase(line.find_last_not_of(' ') + 1);
    text += line + "\n";
  }
  return text;
}

std::string CsvLine(const std::vector<std::string>& cells) {
  std::string line;
  for (size_t i = 0; i < cells.size(); ++i) {
    if (i != 0) line += ',';
    if (cells[i].find_first_of(",\"\r\n") == std::string::npos) {
      line += cells[i];
      continue;
    }
    line += '"';
    for (char c : cells[i]) line.append(c == '"' ? 2 : 1, c);
    line += '"';
  }
  return line + "\r\n";
}

std::string Escaped(std::string_view text) {
  std::string escaped;
  for (;;) {
    const size_t at = std::min(text.find_first_of("&<>\""), text.size());
    escaped += text.substr(0, at);
    if (at == text.size()) return escaped;
    escaped += text[at] == '&'   ? "&amp;"
               : text[at] == '<' ? "&lt;"
               : text[at] == '>' ? "&gt;"
                                 : "&quot;";
    text.remove_prefix(at + 1);
  }
}

std::string JsonText(std::string_view text) {
  static const char* digits = "0123456789abcdef";
  std::string quoted = "\"";
  for (char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      quoted += '\\';
      quoted += c;
    } else if (c == '\n') {
      quoted += "\\n";
    } else if (byte < 0x20) {
      quoted += "\\u00";
      quoted += digits[byte >> 4];
      quoted += digits[byte & 15];
    } else {
      quoted += c;
    }
  }
  return quoted + '"';
}

void JsonWriter::Place() {
  if (follows_key_) {
    follows_key_ = false;
    return;
  }
  if (depth_ == 0) return;
  if (!is_first_) text_ += ',';
  text_ += '\n';
  text_.append(2 * depth_, ' ');
}

JsonWriter& JsonWriter::Begin(char bracket) {
  Place();
  text_ += bracket;
  ++depth_;
  is_first_ = true;
  return *this;
}

JsonWriter& JsonWriter::End(char bracket) {
  --depth_;
  if (!is_first_) {
    text_ += '\n';
    text_.append(2 * depth_, ' ');
  }
  text_ += bracket;
  is_first_ = false;
  return *this;
}

JsonWriter& JsonWriter::Key(std::string_view key) {
  Place();
  text_ += JsonText(key) + ": ";
  is_first_ = false;
  follows_key_ = true;
  return *this;
}

JsonWriter& JsonWriter::Value(std::string_view text) { return Raw(JsonText(text)); }

JsonWriter& JsonWriter::Raw(const std::string& value) {
  Place();
  text_ += value;
  is_first_ = false;
  return *this;
}

JsonWriter& JsonWriter::Add(std::string_view key, const std::vector<std::string>& texts) {
  Key(key).BeginArray();
  for (const std::string& text : texts) Value(text);
  return EndArray();
}

}  // namespace ovix::tool
