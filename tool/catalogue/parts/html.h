// Text as HTML and as JavaScript, for the catalogue.
#ifndef OVIX_TOOL_CATALOGUE_PARTS_HTML_H_
#define OVIX_TOOL_CATALOGUE_PARTS_HTML_H_

#include <functional>
#include <string>
#include <string_view>

namespace ovix::tool {

// Escaped, with places where a narrow page may break it: after "_", "." and "/", before a hump.
std::string Breakable(std::string_view name);

std::string Link(std::string_view href, std::string_view html);

// A comment: paragraphs, drawings unchanged, and what is in backticks as code. `resolve`
// gives the address of such a word; where it is empty there is no link.
std::string CommentHtml(std::string_view text,
                        const std::function<std::string(const std::string&)>& resolve);
// The same for one line of it, without a paragraph around it.
std::string InlineHtml(std::string_view text,
                       const std::function<std::string(const std::string&)>& resolve);

// A string literal of JavaScript that may be in a script of any kind.
std::string JsString(std::string_view text);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_PARTS_HTML_H_
