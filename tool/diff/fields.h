// Compares the fields of a message.
#ifndef OVIX_TOOL_DIFF_FIELDS_H_
#define OVIX_TOOL_DIFF_FIELDS_H_

#include <string>

#include "diff/findings.h"

namespace ovix::tool {

// The type of a field, with the full names of what is declared elsewhere.
std::string FullType(const FieldDescriptor* field);

// What of its fields was removed, added or changed.
void CompareFields(Findings& findings, const Descriptor* before, const Descriptor* after);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_DIFF_FIELDS_H_
