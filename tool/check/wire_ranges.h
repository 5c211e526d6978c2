// Numbers of an encoding that the type of their field does not hold.
#ifndef OVIX_TOOL_CHECK_WIRE_RANGES_H_
#define OVIX_TOOL_CHECK_WIRE_RANGES_H_

#include <functional>
#include <string>
#include <string_view>

#include "contracts/contracts.h"

namespace ovix::tool {

// Calls `found` with the path to each number of a 32-bit field that takes more bits: a reader takes
// the lowest 32 of them for the value, and nothing says so. The encoding must be one of the
// message.
void FindLostBits(std::string_view encoded, const Descriptor* message, const std::string& path,
                  const std::function<void(const std::string& path, const FieldDescriptor* field,
                                           const std::string& value)>& found);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_CHECK_WIRE_RANGES_H_
