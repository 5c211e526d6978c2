#include "commands/commands.h"

namespace ovix::tool {

void AddContracts(CLI::App& command, Release& release) {
  command
      .add_option("--contracts", release.file,
                  "Read this descriptor set, of another release, instead of these contracts")
      ->check([](const std::string& file) { return file.empty() ? "names no file" : ""; })
      ->type_name("FILE.binpb");
}

void AddFormat(CLI::App& command, Format& format) {
  AddChoice(command, "--format", format,
            {{"table", Format::kTable}, {"json", Format::kJson}, {"csv", Format::kCsv}});
}

}  // namespace ovix::tool
