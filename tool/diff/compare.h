// What changed between two releases of the contracts.
#ifndef OVIX_TOOL_DIFF_COMPARE_H_
#define OVIX_TOOL_DIFF_COMPARE_H_

#include <string>
#include <vector>

#include "contracts/contracts.h"
#include "diff/rules.h"

namespace ovix::tool {

struct Difference {
  Change change;
  unsigned breaks;      // the rule's, and what it breaks besides where it stands
  std::string subject;  // full name of the message, field ...; a path for a file
  std::string what;     // in a reader's words: "renamed from a to b"
  std::string mend;     // what makes it no longer break; empty where nothing but undoing it does
};

// Every difference, in the order of the older release's schemas, then what the newer one adds.
std::vector<Difference> Compare(const Contracts& older, const Contracts& newer);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_COMPARE_H_
