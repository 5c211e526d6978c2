// Other programs, run for what they print.
#ifndef OVIX_TOOL_TERMINAL_PROCESS_H_
#define OVIX_TOOL_TERMINAL_PROCESS_H_

#include <optional>
#include <string>

namespace ovix::tool {

// What the command prints to its standard output, byte for byte; nothing where it cannot be run or
// fails. Its errors are not shown. The system's shell reads `command`, so nothing that a user typed
// may be in it unless its characters were checked.
std::optional<std::string> OutputOf(const std::string& command);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_PROCESS_H_
