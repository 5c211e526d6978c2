// What a command says on standard error.
#ifndef OVIX_TOOL_TERMINAL_REPORT_H_
#define OVIX_TOOL_TERMINAL_REPORT_H_

#include <string>

namespace ovix::tool {

// Writes one line, which begins with the program's name and drives no terminal, whatever is in the
// text.
void Report(std::string what);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_TERMINAL_REPORT_H_
