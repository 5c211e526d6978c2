#include "commands/commands.h"

namespace ovix::tool {

void AddFormat(CLI::App& command, Format& format) {
  AddChoice(command, "--format", format,
            {{"table", Format::kTable}, {"json", Format::kJson}, {"csv", Format::kCsv}});
}

}  // namespace ovix::tool
