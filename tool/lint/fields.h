// Fields, their facts and where they come from, as several rules ask for them.
#ifndef OVIX_TOOL_LINT_FIELDS_H_
#define OVIX_TOOL_LINT_FIELDS_H_

#include <string_view>
#include <vector>

#include "lint/checks.h"

namespace ovix::tool::lint {

// The extensions, then the fields of messages.
std::vector<const FieldDescriptor*> FieldsOf(const Contracts& contracts);

// The line of the first fact with this key; that of the comment where it has none.
int LineOfFact(const Contracts& contracts, const FieldDescriptor* field, std::string_view key);

// The fields of records that a field of an upload schema comes from, as far as they exist.
std::vector<const FieldDescriptor*> SourceFieldsOf(const Contracts& contracts,
                                                   const FieldDescriptor* field);

}  // namespace ovix::tool::lint

#endif  // OVIX_TOOL_LINT_FIELDS_H_
