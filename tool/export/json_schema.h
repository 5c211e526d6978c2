// Contracts as JSON Schema 2020-12.
#ifndef OVIX_TOOL_EXPORT_JSON_SCHEMA_H_
#define OVIX_TOOL_EXPORT_JSON_SCHEMA_H_

#include <string>

#include "contracts/contracts.h"

namespace ovix::tool {

// What a message's JSON can be, as the tool prints it: with the names of the schema. Closed lists
// are held against it; units, formats and privacy classes are annotations. `allows_unknown` leaves
// room for the fields of newer contracts. Throws Error for a message with a part that has a JSON
// form of its own (google.protobuf.Timestamp and the like).
std::string JsonSchemaOf(const Contracts& contracts, const Descriptor* message,
                         bool allows_unknown);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_EXPORT_JSON_SCHEMA_H_
