#include "catalogue/parts/html.h"

#include <algorithm>

#include "contracts/comment.h"
#include "terminal/format.h"

namespace ovix::tool {
namespace {

// Without the spaces that all its lines begin with.
std::string WithoutIndentation(const std::string& text) {
  size_t common = text.size();
  for (size_t line = 0; line < text.size();) {
    const size_t first = std::min(text.find_first_not_of(' ', line), text.size());
    if (first < text.size() && text[first] != '\n') common = std::min(common, first - line);
    line = std::min(text.find('\n', line), text.size()) + 1;
  }
  std::string moved;
  for (size_t line = 0; line < text.size();) {
    const size_t end = std::min(text.find('\n', line), text.size());
    if (end - line > common) moved += text.substr(line + common, end - line - common);
    if (end < text.size()) moved += '\n';
    line = end + 1;
  }
  return moved;
}

bool IsUpper(char c) { return c >= 'A' && c <= 'Z'; }
bool IsLower(char c) { return c >= 'a' && c <= 'z'; }

}  // namespace

std::string Breakable(std::string_view name) {
  std::string html;
  size_t begin = 0;
  for (size_t i = 1; i < name.size(); ++i) {
    if (name[i - 1] == '_' || name[i - 1] == '.' || name[i - 1] == '/' ||
        (IsLower(name[i - 1]) && IsUpper(name[i]))) {
      html += Escaped(name.substr(begin, i - begin)) + "<wbr>";
      begin = i;
    }
  }
  return html + Escaped(name.substr(begin));
}

std::string Link(std::string_view href, std::string_view html) {
  return "<a href=\"" + Escaped(href) + "\">" + std::string(html) + "</a>";
}

std::string InlineHtml(std::string_view text,
                       const std::function<std::string(const std::string&)>& resolve) {
  std::string html;
  while (!text.empty()) {
    const size_t open = text.find('`');
    const size_t close = open == std::string_view::npos ? open : text.find('`', open + 1);
    if (close == std::string_view::npos) return html + Escaped(text);
    html += Escaped(text.substr(0, open));
    const std::string word(text.substr(open + 1, close - open - 1));
    const std::string code = "<code>" + Breakable(word) + "</code>";
    const std::string href = resolve(word);
    html += href.empty() ? code : Link(href, code);
    text.remove_prefix(close + 1);
  }
  return html;
}

std::string CommentHtml(std::string_view text,
                        const std::function<std::string(const std::string&)>& resolve) {
  const std::string reflowed = Reflowed(text);
  std::string html;
  std::string drawing;
  const auto finish_drawing = [&] {
    while (drawing.ends_with('\n')) drawing.pop_back();
    // It may be wider than the page: then it is scrolled, which the keyboard must be able to do.
    if (!drawing.empty()) {
      html += "<pre tabindex=\"0\" role=\"group\" aria-label=\"Outline\">" +
              Escaped(WithoutIndentation(drawing)) + "</pre>\n";
    }
    drawing.clear();
  };
  for (std::string_view rest = reflowed; !rest.empty();) {
    const size_t end = std::min(rest.find('\n'), rest.size());
    const std::string_view line = rest.substr(0, end);
    rest.remove_prefix(std::min(end + 1, rest.size()));
    if (line.starts_with(' ') || line.starts_with('\t') || (line.empty() && !drawing.empty())) {
      drawing.append(line).append("\n");
    } else if (!line.empty()) {
      finish_drawing();
      html += "<p>" + InlineHtml(line, resolve) + "</p>\n";
    }
  }
  finish_drawing();
  return html;
}

std::string JsString(std::string_view text) {
  static constexpr char kHex[] = "0123456789abcdef";
  std::string literal = "\"";
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (c == '"' || c == '\\') {
      literal.append("\\").push_back(c);
    } else if (byte < 0x20 || c == '<') {
      literal.append("\\u00").push_back(kHex[byte >> 4]);
      literal.push_back(kHex[byte & 15]);
    } else {
      literal += c;
    }
  }
  return literal + "\"";
}

}  // namespace ovix::tool
