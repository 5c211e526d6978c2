// Compares the enumerations of two releases.
#ifndef OVIX_TOOL_DIFF_ENUMS_H_
#define OVIX_TOOL_DIFF_ENUMS_H_

#include "diff/findings.h"

namespace ovix::tool {

void CompareEnums(Findings& findings);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_ENUMS_H_
