// What of a release the schemas break.
#ifndef OVIX_TOOL_LINT_AGAINST_H_
#define OVIX_TOOL_LINT_AGAINST_H_

#include <vector>

#include "contracts/contracts.h"
#include "lint/findings.h"

namespace ovix::tool::lint {

// A finding for each difference that breaks something, with the name and the words of its rule in
// diff/rules.h, at its place in the newer schemas.
std::vector<Finding> FindBroken(const Contracts& older, const Contracts& newer);

}  // namespace ovix::tool::lint

#endif  // OVIX_TOOL_LINT_AGAINST_H_
