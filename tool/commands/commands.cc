#include "commands/commands.h"

#include <iostream>

#include "diff/comments.h"

namespace ovix::tool {

std::string NamesFile(const std::string& file) { return file.empty() ? "names no file" : ""; }

std::string NamesFolder(const std::string& folder) {
  return folder.empty() ? "names no folder" : "";
}

CLI::Option* AddOutput(CLI::App& command, std::string& output) {
  return command
      .add_option("-o,--output", output,
                  "Where to write, whole or not at all; standard output without it")
      ->check(NamesFile)
      ->type_name("FILE");
}

CLI::Option* AddOut(CLI::App& command, std::string& out, const std::string& what) {
  return command
      .add_option("--out", out, what + ": new, empty or of an earlier run, which is replaced")
      ->check(NamesFolder)
      ->type_name("DIR");
}

void AddMessage(CLI::App& command, std::string& name) {
  command
      .add_option(
          "name", name,
          "The message's full name, the end of it, its gun, or the metadata file of a payload")
      ->type_name("NAME")
      ->required();
}

void AddContracts(CLI::App& command, Release& release) {
  command
      .add_option(
          "--contracts", release.file,
          "Read another release, a descriptor set or git:REVISION, instead of these contracts")
      ->check(NamesFile)
      ->type_name("FILE.binpb");
}

void SayWithoutComments(const Contracts& contracts, const std::string& name) {
  const int schemas = SchemasWithoutComments(contracts);
  if (schemas == 0) return;
  std::cerr << "ovix-contracts: " << name << ": " << schemas << " of " << contracts.files().size()
            << " schemas are without comments, so their facts are not compared; protoc writes "
               "comments with --include_source_info\n";
}

void AddFormat(CLI::App& command, Format& format) {
  AddChoice(command, "--format", format,
            {{"table", Format::kTable}, {"json", Format::kJson}, {"csv", Format::kCsv}});
}

}  // namespace ovix::tool
