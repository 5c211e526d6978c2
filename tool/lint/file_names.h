// Names that become names of files.
#ifndef OVIX_TOOL_LINT_FILE_NAMES_H_
#define OVIX_TOOL_LINT_FILE_NAMES_H_

#include <string_view>

namespace ovix::tool::lint {

// Whether Windows takes the name for a device, whatever comes after a dot: "con", "AUX.proto".
bool IsDevice(std::string_view name);

// Whether the name has letters, digits, _ and - only, and is not that of a device.
bool IsPlainFileName(std::string_view name);

}  // namespace ovix::tool::lint

#endif  // OVIX_TOOL_LINT_FILE_NAMES_H_
