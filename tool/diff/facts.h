// Compares what the comments state of the fields.
#ifndef OVIX_TOOL_DIFF_FACTS_H_
#define OVIX_TOOL_DIFF_FACTS_H_

#include "diff/findings.h"

namespace ovix::tool {

// Whether a release's comments are written with facts; lineage alone is older than they are.
bool StatesFacts(const Contracts& contracts);

// What the comments state of a message's fields; nothing if one of the releases has no comments.
void CompareFacts(Findings& findings, bool older_states_facts, const Descriptor* before,
                  const Descriptor* after);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_FACTS_H_
