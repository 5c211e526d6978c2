// The comment of a schema, taken apart: what it says, and the lineage in its "Source:" lines
// (docs/payloads.md has the grammar).
#ifndef OVIX_TOOL_COMMENT_H_
#define OVIX_TOOL_COMMENT_H_

#include <string>
#include <string_view>
#include <vector>

namespace ovix::tool {

// A line "Source: NAME, words"; the words may go on over the lines below it.
struct Source {
  std::string name;   // "none", a record's full name (of a message) or a field (of a field)
  std::string words;  // what changes on the way; empty where there are none
};

struct Comment {
  std::string text;  // without the lineage; lines end in \n but for the last, without indentation
  std::vector<Source> sources;
  std::string misplaced;  // the first line of text that stands behind the lineage; none may
};

// Takes apart a comment as the descriptor set carries it.
Comment ParseComment(std::string_view raw);

// The text in paragraphs: lines joined by spaces, paragraphs apart by one empty line; a line that
// is indented (a drawing, an example) is left as it stands.
std::string Reflowed(std::string_view text);

// The first sentence of the first paragraph.
std::string FirstSentence(std::string_view text);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_COMMENT_H_
