#include "commands/commands.h"

namespace ovix::tool {

void AddMessage(CLI::App& command, std::string& name) {
  command
      .add_option("name", name,
                  "The message's full name, the end of it, its gun, or the label of a payload")
      ->type_name("NAME")
      ->required();
}

void AddContracts(CLI::App& command, Release& release) {
  command
      .add_option(
          "--contracts", release.file,
          "Read another release, a descriptor set or git:REVISION, instead of these contracts")
      ->check([](const std::string& file) { return file.empty() ? "names no file" : ""; })
      ->type_name("FILE.binpb");
}

void AddFormat(CLI::App& command, Format& format) {
  AddChoice(command, "--format", format,
            {{"table", Format::kTable}, {"json", Format::kJson}, {"csv", Format::kCsv}});
}

}  // namespace ovix::tool
