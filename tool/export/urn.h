// Names that are the same wherever a document goes.
#ifndef OVIX_TOOL_EXPORT_URN_H_
#define OVIX_TOOL_EXPORT_URN_H_

#include <string>

namespace ovix::tool {

// The URN "urn:ovix-contracts:NAME". Characters that a URN cannot have are percent-encoded.
std::string Urn(const std::string& name);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_EXPORT_URN_H_
