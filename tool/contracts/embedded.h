// The descriptor set of the library that the tool was built with, inside the executable.
#ifndef OVIX_TOOL_CONTRACTS_EMBEDDED_H_
#define OVIX_TOOL_CONTRACTS_EMBEDDED_H_

#include <string_view>

namespace ovix::tool {

// The bytes of contracts.binpb.
std::string_view EmbeddedDescriptorSet();

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CONTRACTS_EMBEDDED_H_
