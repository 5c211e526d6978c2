// Lines of a comment that look like a fact, but are not read as one.
#ifndef OVIX_TOOL_LINT_ALMOST_FACTS_H_
#define OVIX_TOOL_LINT_ALMOST_FACTS_H_

#include <string_view>

namespace ovix::tool::lint {

// Whether a key of facts is in the text, as a word, with a colon or an equals sign after it.
bool HasKey(std::string_view text);

// Whether a line, without space around it, says what a fact says: it has a key, or it is a key, in
// any case, and one of its values.
bool LooksLikeFact(std::string_view line);

}  // namespace ovix::tool::lint

#endif  // OVIX_TOOL_LINT_ALMOST_FACTS_H_
