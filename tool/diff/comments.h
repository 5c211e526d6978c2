// What the comments of two releases state of their fields.
#ifndef OVIX_TOOL_DIFF_COMMENTS_H_
#define OVIX_TOOL_DIFF_COMMENTS_H_

#include <string>

#include "contracts/contracts.h"
#include "contracts/facts.h"
#include "diff/differences.h"

namespace ovix::tool {

// Compares facts of comments, of which prose is none.
class CommentComparison {
 public:
  CommentComparison(const Contracts& older, const Contracts& newer, Differences& differences);

  // The fields that both have, by number; nothing if one of the releases has no comments.
  void Compare(const Descriptor* before, const Descriptor* after);

 private:
  // What a field states that did not, and the other way; both where one fact takes another's place.
  struct Stated {
    bool more = false;
    bool less = false;
  };
  Stated Compare(const FieldDescriptor* was, const FieldDescriptor* is, const Descriptor* holder);
  // The keys of new facts of a field that the grammar does not allow: "Unit, Format".
  std::string MalformedOf(const FieldDescriptor* was, const FieldDescriptor* is) const;

  const Contracts& older_;
  const Contracts& newer_;
  Differences& differences_;
  const bool older_states_facts_;
};

// How many of a release's schemas have no comments with them, so that no facts are compared.
int SchemasWithoutComments(const Contracts& contracts);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_COMMENTS_H_
