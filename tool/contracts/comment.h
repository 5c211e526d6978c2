// The comment of a schema, taken apart: its prose, and the facts in the lines after it
// (docs/contracts.md has the grammar). What the facts mean is in facts.h.
#ifndef OVIX_TOOL_CONTRACTS_COMMENT_H_
#define OVIX_TOOL_CONTRACTS_COMMENT_H_

#include <initializer_list>
#include <string>
#include <string_view>
#include <vector>

namespace ovix::tool {

// A line "Source: NAME, words"; the words may go on over the lines below it.
struct Source {
  std::string name;   // "none", a record's full name (of a message) or a field (of a field)
  std::string words;  // what changes on the way; empty if there are none
};

// The keys of facts, in the order in which they are written.
inline constexpr std::string_view kFactKeys[] = {"Unit", "Values", "Format", "Privacy", "Source"};

// A line "KEY: value"; the value may go on over the lines below it, here joined by spaces.
struct Fact {
  std::string key;  // any capitalised word: whether it is known is for facts.h to say
  std::string value;
  int line = 0;  // of the comment, from 0
};

struct Comment {
  std::string text;             // the prose; lines end in \n but for the last, without indentation
  std::vector<Fact> facts;      // all, lineage included, as written
  std::vector<Source> sources;  // the lineage
  std::vector<std::string> lines;  // all, without space around them
  std::string misplaced;           // the first line of prose after a fact and an empty line
  int misplaced_line = 0;          // of the comment, from 0
};

// Whether the text begins with one of these, as whole words.
bool BeginsWith(std::string_view text, std::initializer_list<std::string_view> words);

// Takes apart a comment as the descriptor set carries it.
Comment ParseComment(std::string_view raw);

// The text in paragraphs: lines joined by spaces, paragraphs apart by one empty line; a line that
// is indented (a drawing, an example) is left unchanged.
std::string Reflowed(std::string_view text);

// The first sentence of the first paragraph.
std::string FirstSentence(std::string_view text);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONTRACTS_COMMENT_H_
