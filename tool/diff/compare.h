// What changed between two releases of the contracts.
#ifndef OVIX_TOOL_DIFF_COMPARE_H_
#define OVIX_TOOL_DIFF_COMPARE_H_

#include <vector>

#include "contracts/contracts.h"
#include "diff/differences.h"

namespace ovix::tool {

// Every difference, in the order of the older release's schemas, then what the newer one adds.
std::vector<Difference> Compare(const Contracts& older, const Contracts& newer);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_COMPARE_H_
