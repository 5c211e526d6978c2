// The options that encode and decode have in common.
#ifndef OVIX_TOOL_COMMANDS_CONVERSION_H_
#define OVIX_TOOL_COMMANDS_CONVERSION_H_

#include "commands/commands.h"
#include "convert/conversion.h"

namespace ovix::tool {

// Adds the message, the input, the output and the notation. `conversion` must outlive the command.
void AddConversion(CLI::App& command, Conversion& conversion);

}  // namespace ovix::tool

#endif  // OVIX_TOOL_COMMANDS_CONVERSION_H_
