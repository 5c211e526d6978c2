// The tables of a page: the fields of a message, the values of an enumeration.
#ifndef OVIX_TOOL_CATALOGUE_PARTS_FIELDS_H_
#define OVIX_TOOL_CATALOGUE_PARTS_FIELDS_H_

#include <string>

#include "catalogue/model/relations.h"

namespace ovix::tool {

// The fields, each with its type, meaning, facts and lineage.
std::string Fields(const Relations& relations, const Descriptor* message);

// The values, each with its meaning.
std::string Values(const Relations& relations, const EnumDescriptor* enumeration);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CATALOGUE_PARTS_FIELDS_H_
