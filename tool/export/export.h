// Contracts in the notations of other tools.
#ifndef OVIX_TOOL_EXPORT_EXPORT_H_
#define OVIX_TOOL_EXPORT_EXPORT_H_

#include <map>
#include <string>

#include "contracts/contracts.h"

namespace ovix::tool {

// The files of all tables and payloads by their names. Both throw Error.
std::map<std::string, std::string> JsonSchemas(const Contracts& contracts, bool allows_unknown);
// Those of all databases and payloads.
std::map<std::string, std::string> OdcsDocuments(const Contracts& contracts);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_EXPORT_EXPORT_H_
