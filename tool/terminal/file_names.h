// Names that become names of files.
#ifndef OVIX_TOOL_TERMINAL_FILE_NAMES_H_
#define OVIX_TOOL_TERMINAL_FILE_NAMES_H_

#include <string>
#include <string_view>

namespace ovix::tool {

// The name with lower case for the letters A to Z: Windows compares names of files so, and SQLite
// those of tables and columns.
std::string WithoutCase(std::string_view name);

// Whether Windows takes the name for a device, whatever comes after a dot: "con", "AUX.proto".
bool IsDevice(std::string_view name);

// Whether a name that comes from elsewhere is that of a file on every system, and leads nowhere
// else: letters of ASCII, digits, _ and -, and not the name of a device.
bool IsPlainFileName(std::string_view name);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_FILE_NAMES_H_
