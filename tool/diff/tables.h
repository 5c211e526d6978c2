// Compares what a message says of its table and database.
#ifndef OVIX_TOOL_DIFF_TABLES_H_
#define OVIX_TOOL_DIFF_TABLES_H_

#include "diff/findings.h"

namespace ovix::tool {

void CompareTables(Findings& findings, const Descriptor* before, const Descriptor* after);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_TABLES_H_
